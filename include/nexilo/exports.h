// How modules export plain C functions, and the factory export pair every module offers.
//
// Contract: NEXILO_EXPORT gives a function C linkage and puts it in the module's export table
// under its plain name (dllexport on Windows, default visibility elsewhere). NEXILO_CALL fixes
// the calling convention: cdecl on 32-bit x86 Windows, where conventions differ; the platform's
// only convention elsewhere. Other modules find these functions by name at run time.
//
// The factory pair, with the same shape in every module of the product:
// - CvCreateObject(name, iid, out): makes the object offered under `name` and stores in *out its
//   interface `iid`. 0 on success; 1168 (ERROR_NOT_FOUND) with null in *out for an unknown name
//   or an object that doesn't offer `iid`, which is then destroyed before the call returns.
// - CvDestroyObject(name, object): destroys an object made under `name`, given as the
//   ICvBaseInterface pointer (QueryInterface(kIidCvBaseInterface) of what was made). An unknown
//   name or an object of another class is ignored.
// Any thread may call them. Names are NUL-terminated wide strings.
#pragma once

#include "nexilo/cv_base.h"

#include <cstdint>

#if defined(_WIN32)
#if defined(_M_IX86) || defined(__i386__)
#define NEXILO_CALL __cdecl
#else
#define NEXILO_CALL
#endif
#define NEXILO_EXPORT extern "C" __declspec(dllexport)
#else
#define NEXILO_CALL
#define NEXILO_EXPORT extern "C" __attribute__((visibility("default")))
#endif

using CvCreateObjectFn = std::uint32_t(NEXILO_CALL*)(const wchar_t* name, CvIid iid, void** object);
using CvDestroyObjectFn = void(NEXILO_CALL*)(const wchar_t* name, ICvBaseInterface* object);

inline constexpr const char* kCvCreateObjectName = "CvCreateObject";
inline constexpr const char* kCvDestroyObjectName = "CvDestroyObject";
