# Compiler and linker settings shared by every target of the project.

# Every module, program and test of a build lands in bin/, laid out as an installation would be,
# so that modules find their neighbours (hostcore, cvzc, tracelog, nodectl) as in the product.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

# Only what is exported explicitly leaves a module.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_compile_options(-Wall -Wextra)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 reports std::string concatenation as an overlapping copy at -O2 and above
    # (GCC bug 105651, fixed in 13): a false positive in libstdc++'s own code.
    add_compile_options(-Wno-restrict)
endif()
if(NEXILO_WERROR)
    add_compile_options(-Werror)
endif()

find_program(NEXILO_CCACHE ccache)
if(NEXILO_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${NEXILO_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${NEXILO_CCACHE})
endif()

if(WIN32)
    # Windows 7 is the oldest system the product supports.
    add_compile_definitions(_WIN32_WINNT=0x0601 WINVER=0x0601 UNICODE _UNICODE)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        # i686 mingw-w64 unwinds with DWARF-2 tables, which cannot cross a DLL border when libgcc
        # is linked statically into each module. Link the GCC runtime shared on this target and
        # ship its DLLs beside the modules (see NexiloTargets.cmake), so exceptions that an
        # interface lets out of a module reach the caller.
        set(NEXILO_SHARED_GCC_RUNTIME ON)
    else()
        # Static runtime: the module, stand-ins and tests then import only KERNEL32 and msvcrt,
        # so Wine needs no search path for the mingw runtime DLLs.
        set(NEXILO_SHARED_GCC_RUNTIME OFF)
        add_link_options(-static)
    endif()
else()
    add_compile_definitions(_FILE_OFFSET_BITS=64)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Unique symbols would pin a module in memory after its last dlclose.
        add_compile_options(-fno-gnu-unique)
    endif()
endif()

if(NEXILO_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

if(NEXILO_SANITIZE_THREAD)
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
endif()

if(WIN32 AND CMAKE_CROSSCOMPILING)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        # Wine here runs 64-bit programs only; an i686 test "passes" without running at all.
        set(NEXILO_REGISTER_TESTS OFF CACHE BOOL "" FORCE)
    else()
        # Tests run under Wine, headless, in a private prefix inside the build folder.
        set(NEXILO_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
        set(CMAKE_CROSSCOMPILING_EMULATOR
            env WINEPREFIX=${NEXILO_WINEPREFIX} WINEDEBUG=-all
            "WINEDLLOVERRIDES=mscoree,mshtml=\;winedbg.exe=d" wine)
    endif()
endif()
