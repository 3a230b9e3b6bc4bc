#include "platform/utf16.h"

namespace platform {

void AppendUtf16Unit(std::vector<std::byte>& out, std::uint32_t unit) {
    out.push_back(static_cast<std::byte>(unit & 0xFF));
    out.push_back(static_cast<std::byte>((unit >> 8) & 0xFF));
}

void AppendUtf16CodePoint(std::vector<std::byte>& out, std::uint32_t point) {
    if (point > 0x10FFFF) {
        point = kReplacementCharacter;
    }
    if (point < 0x10000) {
        AppendUtf16Unit(out, point);
        return;
    }
    point -= 0x10000;
    AppendUtf16Unit(out, 0xD800 + (point >> 10));
    AppendUtf16Unit(out, 0xDC00 + (point & 0x3FF));
}

} // namespace platform
