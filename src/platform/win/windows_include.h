// The only includer of <windows.h>: fixes its macros once for the whole code base.
#pragma once

#include "platform/build_config.h"

#if !defined(NEXILO_OS_WIN)
#error "windows_include.h is for Windows builds only"
#endif

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef UNICODE
#define UNICODE
#endif

#include <windows.h>
