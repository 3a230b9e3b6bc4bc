#include "platform/utf8.h"

#include "platform/win/windows_include.h"

#include <climits>

namespace platform {

std::size_t WideToUtf8(const wchar_t* text, char* out, std::size_t outSize) noexcept {
    if (!text) {
        return 0;
    }
    int size = outSize > INT_MAX ? INT_MAX : static_cast<int>(outSize);
    int result = WideCharToMultiByte(CP_UTF8, 0, text, -1, size ? out : nullptr, out ? size : 0,
                                     nullptr, nullptr);
    return result > 0 ? static_cast<std::size_t>(result) : 0;
}

std::size_t Utf8ToWide(const char* text, wchar_t* out, std::size_t outSize) noexcept {
    if (!text) {
        return 0;
    }
    int size = outSize > INT_MAX ? INT_MAX : static_cast<int>(outSize);
    int result = MultiByteToWideChar(CP_UTF8, 0, text, -1, size ? out : nullptr, out ? size : 0);
    return result > 0 ? static_cast<std::size_t>(result) : 0;
}

} // namespace platform
