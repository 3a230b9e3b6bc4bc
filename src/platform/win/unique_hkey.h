// UniqueHKey: an owned registry key handle, closed with RegCloseKey. Windows only.
#pragma once

#include "platform/unique_resource.h"
#include "platform/win/windows_include.h"

namespace platform {

struct HKeyTraits {
    using Type = HKEY;
    static constexpr HKEY Invalid() noexcept { return nullptr; }
    static void Close(HKEY key) noexcept { ::RegCloseKey(key); }
};
using UniqueHKey = UniqueResource<HKeyTraits>;

} // namespace platform
