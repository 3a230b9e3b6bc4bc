#include "platform/environment.h"

#include "platform/utf8.h"

#include <cstdlib>

namespace platform {

std::optional<std::wstring> ReadEnvironmentVariable(const wchar_t* name) {
    std::string narrow = WideToUtf8(name);
    const char* value = narrow.empty() ? nullptr : std::getenv(narrow.c_str());
    if (value == nullptr) {
        return std::nullopt;
    }
    return Utf8ToWide(value);
}

bool WriteEnvironmentVariable(const wchar_t* name, const wchar_t* value) {
    std::string narrowName = WideToUtf8(name);
    if (narrowName.empty()) {
        return false;
    }
    if (value == nullptr) {
        return unsetenv(narrowName.c_str()) == 0;
    }
    return setenv(narrowName.c_str(), WideToUtf8(value).c_str(), 1) == 0;
}

} // namespace platform
