#include "platform/utf8.h"

namespace platform {

std::size_t EncodeUtf8(std::uint32_t point, char (&out)[4]) noexcept {
    if (point < 0x80) {
        out[0] = static_cast<char>(point);
        return 1;
    }
    if (point < 0x800) {
        out[0] = static_cast<char>(0xC0 | (point >> 6));
        out[1] = static_cast<char>(0x80 | (point & 0x3F));
        return 2;
    }
    if (point < 0x10000) {
        out[0] = static_cast<char>(0xE0 | (point >> 12));
        out[1] = static_cast<char>(0x80 | ((point >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (point & 0x3F));
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | (point >> 18));
    out[1] = static_cast<char>(0x80 | ((point >> 12) & 0x3F));
    out[2] = static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    out[3] = static_cast<char>(0x80 | (point & 0x3F));
    return 4;
}

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
