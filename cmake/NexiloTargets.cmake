# Helpers that give every library, module, program and test of the project the same shape.
#
# Every folder lists its sources by name, per system: SOURCES for every system, and WIN_SOURCES,
# POSIX_SOURCES and LINUX_SOURCES for one family only. A file's suffix says which list it belongs
# in: foo_win.cpp, foo_posix.cpp, foo_linux.cpp, and the subfolders win/ and posix/ likewise.
# Nothing is found by globbing: a file joins the build when a list names it.

include_guard(GLOBAL)

# _nexilo_system_sources(<out> <prefix>): the sources of the caller's parsed arguments
# <prefix>_SOURCES and those of its <prefix>_WIN_, _POSIX_ or _LINUX_SOURCES for this system.
macro(_nexilo_system_sources out prefix)
    set(${out} ${${prefix}_SOURCES})
    if(WIN32)
        list(APPEND ${out} ${${prefix}_WIN_SOURCES})
    else()
        list(APPEND ${out} ${${prefix}_POSIX_SOURCES})
        if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
            list(APPEND ${out} ${${prefix}_LINUX_SOURCES})
        endif()
    endif()
endmacro()

set(_NEXILO_SOURCE_LISTS SOURCES WIN_SOURCES POSIX_SOURCES LINUX_SOURCES)

# Windows libraries that the platform seam calls: the registry (advapi32), memory sealing
# (crypt32), path helpers (shlwapi) and the millisecond clock (winmm).
set(NEXILO_WIN_SYSTEM_LIBS advapi32 crypt32 shlwapi winmm)

function(_nexilo_runtime_options target)
    if(WIN32 AND NEXILO_SHARED_GCC_RUNTIME)
        add_dependencies(${target} nexilo_gcc_runtime)
    endif()
endfunction()

# nexilo_library(<name> SOURCES ... [WIN_SOURCES ...] [POSIX_SOURCES ...] [LINUX_SOURCES ...]
#                [DEPS ...]): a static library of the project; DEPS are what its code uses.
function(nexilo_library name)
    cmake_parse_arguments(ARG "" "" "${_NEXILO_SOURCE_LISTS};DEPS" ${ARGN})
    _nexilo_system_sources(sources ARG)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_DEPS})
endfunction()

# nexilo_module(<name> SOURCES ... [per-system lists] [DEPS ...]): a loadable module named
# <name>.dll / <name>.so.
function(nexilo_module name)
    cmake_parse_arguments(ARG "" "" "${_NEXILO_SOURCE_LISTS};DEPS" ${ARGN})
    _nexilo_system_sources(sources ARG)
    add_library(${name} MODULE ${sources})
    set_target_properties(${name} PROPERTIES PREFIX "")
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE ${ARG_DEPS})
    # Every symbol resolved at build time: a module must not lean on its host for symbols. Not
    # with clang's sanitizers, whose runtime only the executable carries.
    if(NOT WIN32 AND NOT (NEXILO_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang"))
        target_link_options(${name} PRIVATE -Wl,--no-undefined)
    endif()
    _nexilo_runtime_options(${name})
endfunction()

# nexilo_program(<name> SOURCES ... [per-system lists] [DEPS ...]): an executable named
# <name>.exe / <name>.
function(nexilo_program name)
    cmake_parse_arguments(ARG "" "" "${_NEXILO_SOURCE_LISTS};DEPS" ${ARGN})
    _nexilo_system_sources(sources ARG)
    add_executable(${name} ${sources})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE ${ARG_DEPS})
    _nexilo_runtime_options(${name})
endfunction()

# nexilo_tests(<name> SOURCES ... [per-system lists] [DEPS ...] [NEEDS ...]): one GoogleTest
# executable per folder. NEEDS names targets (modules, programs) that the tests load or start at
# run time. Each test carries its program's name as a label, so a preset can run some programs.
function(nexilo_tests name)
    cmake_parse_arguments(ARG "" "" "${_NEXILO_SOURCE_LISTS};DEPS;NEEDS" ${ARGN})
    _nexilo_system_sources(sources ARG)
    if(NOT NEXILO_BUILD_TESTS OR NOT sources)
        return()
    endif()
    nexilo_program(${name} SOURCES ${sources} DEPS ${ARG_DEPS} GTest::gmock GTest::gtest_main)
    if(ARG_NEEDS)
        add_dependencies(${name} ${ARG_NEEDS})
    endif()
    if(NEXILO_REGISTER_TESTS)
        gtest_discover_tests(${name}
            WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/bin
            NO_PRETTY_VALUES
            DISCOVERY_MODE PRE_TEST
            DISCOVERY_TIMEOUT 120
            PROPERTIES TIMEOUT 120 ENVIRONMENT "NEXILO_TEST_BIN=${CMAKE_BINARY_DIR}/bin"
                       LABELS ${name})
    endif()
endfunction()

if(WIN32 AND NEXILO_SHARED_GCC_RUNTIME)
    # Copies the GCC runtime DLLs that the i686 modules and programs import into bin/.
    set(_runtime_dlls)
    foreach(dll libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT IS_ABSOLUTE "${path}" OR NOT EXISTS "${path}")
            message(FATAL_ERROR "GCC runtime ${dll} not found for ${CMAKE_CXX_COMPILER}")
        endif()
        list(APPEND _runtime_dlls ${path})
    endforeach()
    add_custom_target(nexilo_gcc_runtime
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/bin
        COMMAND ${CMAKE_COMMAND} -E copy_if_different ${_runtime_dlls} ${CMAKE_BINARY_DIR}/bin
        COMMENT "Copying the GCC runtime DLLs")
endif()
