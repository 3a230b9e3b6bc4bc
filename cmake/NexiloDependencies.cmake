# Third-party libraries: jansson, libyaml, libcrypto (POSIX sealing), threads, cpp-httplib and
# SQLite (the dev kit's cloud emulator and its client), GoogleTest and Google Benchmark. Natively
# they come from Debian packages; for the mingw-w64 builds jansson, libyaml and cpp-httplib's
# header come from scripts/build-win-deps and GoogleTest from the Debian googletest sources. The
# emulator itself is built natively only, so SQLite has no Windows build.

find_package(Threads REQUIRED)

function(nexilo_import_library target header library)
    find_path(${target}_INCLUDE_DIR ${header})
    if(WIN32)
        find_library(${target}_LIBRARY NAMES lib${library}.a ${library})
    else()
        find_library(${target}_LIBRARY NAMES ${library})
    endif()
    if(NOT ${target}_INCLUDE_DIR OR NOT ${target}_LIBRARY)
        if(WIN32)
            message(FATAL_ERROR "${library} for ${CMAKE_SYSTEM_PROCESSOR} not found under "
                                "${NEXILO_WIN_DEPS_PREFIX}: run scripts/build-win-deps first")
        else()
            message(FATAL_ERROR "${library} not found: run scripts/setup first")
        endif()
    endif()
    add_library(nexilo::${target} UNKNOWN IMPORTED)
    set_target_properties(nexilo::${target} PROPERTIES
        IMPORTED_LOCATION "${${target}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${${target}_INCLUDE_DIR}")
endfunction()

nexilo_import_library(jansson jansson.h jansson)
nexilo_import_library(yaml yaml.h yaml)
if(WIN32)
    # libyaml's header marks its functions dllimport unless told the library is static.
    set_property(TARGET nexilo::yaml PROPERTY INTERFACE_COMPILE_DEFINITIONS YAML_DECLARE_STATIC)
else()
    find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
endif()

if(WIN32)
    # The single header carries the whole library; it needs Windows sockets.
    find_path(httplib_INCLUDE_DIR httplib.h)
    if(NOT httplib_INCLUDE_DIR)
        message(FATAL_ERROR "httplib.h for ${CMAKE_SYSTEM_PROCESSOR} not found under "
                            "${NEXILO_WIN_DEPS_PREFIX}: run scripts/build-win-deps first")
    endif()
    add_library(nexilo::httplib INTERFACE IMPORTED)
    set_target_properties(nexilo::httplib PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES "${httplib_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES "ws2_32")
else()
    # Debian builds the library; its flags (TLS, compression) must match the header's view.
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(NEXILO_HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
    add_library(nexilo::httplib ALIAS PkgConfig::NEXILO_HTTPLIB)
    find_package(SQLite3 REQUIRED)
endif()

if(NEXILO_BUILD_TESTS)
    set(NEXILO_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest sources")
    if(NOT EXISTS ${NEXILO_GOOGLETEST_SOURCE}/CMakeLists.txt)
        message(FATAL_ERROR "GoogleTest sources not found at ${NEXILO_GOOGLETEST_SOURCE}: "
                            "run scripts/setup first")
    endif()
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
    # Built from source with the project's own flags, so sanitizer builds instrument it too.
    add_subdirectory(${NEXILO_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL
                     SYSTEM)
    include(GoogleTest)
endif()

if(NEXILO_BUILD_BENCH)
    find_package(benchmark REQUIRED)
endif()
