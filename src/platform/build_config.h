// Maps compiler macros to the project's system macros; the only place that reads them.
#pragma once

#if defined(_WIN32)
#define NEXILO_OS_WIN 1
#elif defined(__unix__) || defined(__APPLE__)
#define NEXILO_OS_POSIX 1
#if defined(__linux__)
#define NEXILO_OS_LINUX 1
#endif
#else
#error "Unsupported operating system"
#endif

#if defined(_WIN64) || defined(__x86_64__) || defined(__aarch64__)
#define NEXILO_ARCH_64 1
#else
#define NEXILO_ARCH_32 1
#endif
