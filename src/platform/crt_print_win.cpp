#include "platform/crt_print.h"

#include <cstdio>
#include <cwchar>

// mingw-w64: libstdc++ forces __USE_MINGW_ANSI_STDIO, so these are the C99 prints of mingw-w64:
// vswprintf and vsnprintf measure with a null buffer and terminate a cut text.

namespace platform {

int MeasureWide(const wchar_t* format, std::va_list args) noexcept {
    int result = std::vswprintf(nullptr, 0, format, args);
    return result < 0 ? -1 : result;
}

int MeasureNarrow(const char* format, std::va_list args) noexcept {
    int result = std::vsnprintf(nullptr, 0, format, args);
    return result < 0 ? -1 : result;
}

int PrintWide(wchar_t* buffer, std::size_t count, const wchar_t* format,
              std::va_list args) noexcept {
    if (count == 0) {
        return kPrintTooSmall;
    }
    int result = std::vswprintf(buffer, count, format, args);
    if (result < 0) {
        buffer[0] = L'\0';
        return kPrintFailed;
    }
    if (static_cast<std::size_t>(result) >= count) {
        buffer[count - 1] = L'\0';
        return kPrintTooSmall;
    }
    return result;
}

int PrintNarrow(char* buffer, std::size_t count, const char* format, std::va_list args) noexcept {
    int result = std::vsnprintf(buffer, count, format, args);
    if (result < 0) {
        if (count != 0) {
            buffer[0] = '\0';
        }
        return kPrintFailed;
    }
    if (static_cast<std::size_t>(result) >= count) {
        if (count != 0) {
            buffer[count - 1] = '\0';
        }
        return kPrintTooSmall;
    }
    return result;
}

} // namespace platform
