// A UTF-8 character-type locale of the process's own, independent of the global locale.
//
// Made at the first call and freed when the module that holds this code unloads (modules load and
// unload repeatedly, so the locale must not outlive them). Null when the system has no UTF-8
// locale; callers then fall back to plain ASCII behaviour. Thread-safe.
#pragma once

#include <locale.h>

namespace platform::posix {

locale_t Utf8CtypeLocale() noexcept;

} // namespace platform::posix
