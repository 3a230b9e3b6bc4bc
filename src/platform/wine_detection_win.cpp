#include "platform/wine_detection.h"

#include "platform/win/windows_include.h"

namespace platform {

bool RunningUnderWine() noexcept {
    HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    return ntdll != nullptr && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

} // namespace platform
