# Helpers that give every library, module, program and test of the project the same shape.
#
# Sources are found by globbing the folder; a file's suffix says which system it belongs to:
#   foo_win.cpp (Windows), foo_posix.cpp (POSIX), foo_linux.cpp (Linux), foo_test.cpp (tests),
#   and the subfolders win/ and posix/ likewise.

include_guard(GLOBAL)

# True when <file> belongs to this system, judged by its suffix (a trailing _test aside).
function(_nexilo_for_this_system out file)
    get_filename_component(name ${file} NAME_WE)
    string(REGEX REPLACE "_test$" "" name ${name})
    set(keep TRUE)
    if(WIN32)
        if(name MATCHES "_(posix|linux)$" OR file MATCHES "/posix/")
            set(keep FALSE)
        endif()
    elseif(name MATCHES "_win$" OR file MATCHES "/win/")
        set(keep FALSE)
    elseif(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" AND name MATCHES "_linux$")
        set(keep FALSE)
    endif()
    set(${out} ${keep} PARENT_SCOPE)
endfunction()

# nexilo_sources(<out>): the production sources of the calling folder (and its win/, posix/)
# for this system.
function(nexilo_sources out)
    file(GLOB files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp
         ${CMAKE_CURRENT_SOURCE_DIR}/win/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/posix/*.cpp)
    set(result)
    foreach(file IN LISTS files)
        _nexilo_for_this_system(keep ${file})
        if(keep AND NOT file MATCHES "_test\\.cpp$")
            list(APPEND result ${file})
        endif()
    endforeach()
    set(${out} ${result} PARENT_SCOPE)
endfunction()

# nexilo_test_sources(<out>): the *_test.cpp files of the calling folder (and its subfolders)
# for this system.
function(nexilo_test_sources out)
    file(GLOB_RECURSE files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
    set(result)
    foreach(file IN LISTS files)
        _nexilo_for_this_system(keep ${file})
        if(keep)
            list(APPEND result ${file})
        endif()
    endforeach()
    set(${out} ${result} PARENT_SCOPE)
endfunction()

# Windows libraries every target may reach through the platform seam.
set(NEXILO_WIN_SYSTEM_LIBS advapi32 crypt32 shlwapi wtsapi32 userenv ole32 oleaut32 wbemuuid winmm)

function(_nexilo_runtime_options target)
    if(WIN32 AND NEXILO_SHARED_GCC_RUNTIME)
        add_dependencies(${target} nexilo_gcc_runtime)
    endif()
endfunction()

# nexilo_library(<name> SOURCES ... [DEPS ...]): a static library of the project.
function(nexilo_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_DEPS})
endfunction()

# nexilo_module(<name> SOURCES ... [DEPS ...]): a loadable module named <name>.dll / <name>.so.
function(nexilo_module name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    add_library(${name} MODULE ${ARG_SOURCES})
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

# nexilo_program(<name> SOURCES ... [DEPS ...]): an executable named <name>.exe / <name>.
function(nexilo_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE ${ARG_DEPS})
    _nexilo_runtime_options(${name})
endfunction()

# nexilo_tests(<name> SOURCES ... [DEPS ...] [NEEDS ...]): one GoogleTest executable per folder.
# NEEDS names targets (modules, programs) that the tests load or start at run time.
function(nexilo_tests name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;NEEDS" ${ARGN})
    if(NOT NEXILO_BUILD_TESTS OR NOT ARG_SOURCES)
        return()
    endif()
    nexilo_program(${name} SOURCES ${ARG_SOURCES} DEPS ${ARG_DEPS} GTest::gmock GTest::gtest_main)
    if(ARG_NEEDS)
        add_dependencies(${name} ${ARG_NEEDS})
    endif()
    if(NEXILO_REGISTER_TESTS)
        gtest_discover_tests(${name}
            WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/bin
            NO_PRETTY_VALUES
            DISCOVERY_MODE PRE_TEST
            DISCOVERY_TIMEOUT 120
            PROPERTIES TIMEOUT 120 ENVIRONMENT "NEXILO_TEST_BIN=${CMAKE_BINARY_DIR}/bin")
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
