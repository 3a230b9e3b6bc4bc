# Cross build for 32-bit Windows with mingw-w64 (posix threads): the production bitness.
# Built, never run here: this machine's Wine has no 32-bit support.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(NEXILO_MINGW_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
