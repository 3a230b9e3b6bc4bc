#include "platform/utf8.h"

namespace platform {

std::string WideToUtf8(std::wstring_view text) {
    std::wstring source(text);
    std::size_t needed = WideToUtf8(source.c_str(), nullptr, 0);
    if (needed == 0) {
        return {};
    }
    std::string result(needed, '\0');
    std::size_t written = WideToUtf8(source.c_str(), result.data(), result.size() + 1);
    result.resize(written == 0 ? 0 : written - 1);
    return result;
}

std::wstring Utf8ToWide(std::string_view text) {
    std::string source(text);
    std::size_t needed = Utf8ToWide(source.c_str(), nullptr, 0);
    if (needed == 0) {
        return {};
    }
    std::wstring result(needed, L'\0');
    std::size_t written = Utf8ToWide(source.c_str(), result.data(), result.size() + 1);
    result.resize(written == 0 ? 0 : written - 1);
    return result;
}

} // namespace platform
