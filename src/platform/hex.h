// Hexadecimal digits, for the text forms that write bytes as two digits each. Pure; thread-safe.
#pragma once

namespace platform {

// The value of a hexadecimal digit (either case), 0 to 15, or -1 for any other character.
constexpr int HexDigitValue(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

} // namespace platform
