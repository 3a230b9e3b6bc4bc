#include "platform/crt_print.h"

#include "platform/posix/utf8_locale.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cwchar>
#include <initializer_list>
#include <locale.h>

namespace platform {

namespace {

// Puts the UTF-8 locale on this thread for one call.
class ScopedUtf8Locale {
public:
    ScopedUtf8Locale() noexcept {
        // glibc converts narrow arguments of wide formats (and the reverse) through the thread's
        // locale, which is "C" unless someone changed it.
        if (locale_t utf8 = posix::Utf8CtypeLocale()) {
            m_previous = uselocale(utf8);
        }
    }
    ~ScopedUtf8Locale() {
        if (m_previous) {
            uselocale(m_previous);
        }
    }
    ScopedUtf8Locale(const ScopedUtf8Locale&) = delete;
    ScopedUtf8Locale& operator=(const ScopedUtf8Locale&) = delete;

private:
    locale_t m_previous{};
};

} // namespace

int MeasureWide(const wchar_t*, std::va_list) noexcept {
    return -1; // glibc's vswprintf returns -1 for a null buffer instead of measuring
}

int MeasureNarrow(const char* format, std::va_list args) noexcept {
    ScopedUtf8Locale locale;
    int result = std::vsnprintf(nullptr, 0, format, args);
    return result < 0 ? -1 : result;
}

int PrintWide(wchar_t* buffer, std::size_t count, const wchar_t* format,
              std::va_list args) noexcept {
    if (count == 0) {
        return kPrintTooSmall;
    }
    ScopedUtf8Locale locale;
    int savedErrno = errno;
    errno = 0;
    int result = std::vswprintf(buffer, count, format, args);
    // glibc gives -1 both for a cut text and for a failed conversion, and leaves the cut text
    // without its terminator; only a conversion sets errno.
    int error = errno;
    errno = savedErrno;
    if (result >= 0) {
        return result;
    }
    buffer[count - 1] = L'\0';
    return error == 0 && count < static_cast<std::size_t>(INT_MAX) ? kPrintTooSmall : kPrintFailed;
}

int PrintNarrow(char* buffer, std::size_t count, const char* format, std::va_list args) noexcept {
    ScopedUtf8Locale locale;
    int result = std::vsnprintf(buffer, count, format, args);
    if (result < 0) {
        if (count != 0) {
            buffer[0] = '\0';
        }
        return kPrintFailed;
    }
    return static_cast<std::size_t>(result) >= count ? kPrintTooSmall : result;
}

} // namespace platform
