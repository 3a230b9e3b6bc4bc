#include "platform/os_version.h"

#include "platform/win/windows_include.h"

namespace platform {

namespace {

// The extended record: its size field tells RtlGetVersion to fill the service pack and product
// fields too.
static_assert(sizeof(RTL_OSVERSIONINFOEXW) == 284);

using RtlGetVersionFunction = LONG(WINAPI*)(RTL_OSVERSIONINFOEXW*);

} // namespace

std::optional<OsVersion> GetOsVersion() {
    HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    if (ntdll == nullptr) {
        return std::nullopt;
    }
    // Through void(*)() so that the cast between unrelated function types is explicit.
    auto rtlGetVersion = reinterpret_cast<RtlGetVersionFunction>(
        reinterpret_cast<void (*)()>(::GetProcAddress(ntdll, "RtlGetVersion")));
    if (rtlGetVersion == nullptr) {
        return std::nullopt;
    }
    RTL_OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    if (rtlGetVersion(&info) != 0) {
        return std::nullopt;
    }
    return OsVersion{info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber};
}

} // namespace platform
