# Shared part of the mingw-w64 toolchain files; NEXILO_MINGW_TRIPLET is set by the includer.
set(CMAKE_C_COMPILER ${NEXILO_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${NEXILO_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${NEXILO_MINGW_TRIPLET}-windres)

# jansson and libyaml for this target come from scripts/build-win-deps.
get_filename_component(_nexilo_root "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
set(NEXILO_WIN_DEPS_PREFIX "${_nexilo_root}/.cache/win-deps/${NEXILO_MINGW_TRIPLET}"
    CACHE PATH "Prefix holding jansson and libyaml built for this target")
set(CMAKE_FIND_ROOT_PATH "${NEXILO_WIN_DEPS_PREFIX}" /usr/${NEXILO_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
