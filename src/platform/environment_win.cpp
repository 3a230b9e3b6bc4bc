#include "platform/environment.h"

#include "platform/win/windows_include.h"

namespace platform {

std::optional<std::wstring> ReadEnvironmentVariable(const wchar_t* name) {
    std::wstring value(64, L'\0');
    for (;;) {
        SetLastError(0);
        DWORD length =
            GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
        if (length == 0) {
            if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
                return std::nullopt;
            }
            return std::wstring();
        }
        if (length < value.size()) {
            value.resize(length);
            return value;
        }
        value.resize(length);
    }
}

bool WriteEnvironmentVariable(const wchar_t* name, const wchar_t* value) {
    return SetEnvironmentVariableW(name, value) != FALSE;
}

} // namespace platform
