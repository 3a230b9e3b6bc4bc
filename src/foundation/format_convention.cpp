#include "foundation/format_convention.h"

namespace cv::detail {

namespace {

enum class Width { kDefault, kNarrow, kWide };

template <class CharT>
bool IsFlag(CharT ch) {
    return ch == '-' || ch == '+' || ch == ' ' || ch == '#' || ch == '0' || ch == '\'';
}

template <class CharT>
bool IsDigit(CharT ch) {
    return ch >= '0' && ch <= '9';
}

template <class CharT>
std::basic_string<CharT> Translate(std::basic_string_view<CharT> format, bool wideFormat) {
    using String = std::basic_string<CharT>;
    using View = std::basic_string_view<CharT>;
    static constexpr CharT kLongLong[] = {'l', 'l'};
    static constexpr CharT kSizeT[] = {'z'};
    String out;
    out.reserve(format.size() + 8);
    std::size_t i = 0;
    const std::size_t n = format.size();
    auto append = [&out](const char* text) {
        for (; *text; ++text) {
            out.push_back(static_cast<CharT>(*text));
        }
    };
    while (i < n) {
        CharT ch = format[i];
        if (ch != '%') {
            out.push_back(ch);
            ++i;
            continue;
        }
        std::size_t start = i++;
        if (i < n && format[i] == '%') {
            append("%%");
            ++i;
            continue;
        }
        // Flags, width and precision are copied as they stand.
        while (i < n && IsFlag(format[i])) {
            ++i;
        }
        if (i < n && format[i] == '*') {
            ++i;
        } else {
            while (i < n && IsDigit(format[i])) {
                ++i;
            }
        }
        if (i < n && format[i] == '.') {
            ++i;
            if (i < n && format[i] == '*') {
                ++i;
            } else {
                while (i < n && IsDigit(format[i])) {
                    ++i;
                }
            }
        }
        out.append(format.substr(start, i - start));

        // Length modifiers: the width of s and c, or an integer size.
        Width width = Width::kDefault;
        View size;
        std::size_t modStart = i;
        if (i < n) {
            switch (format[i]) {
                case 'h':
                    ++i;
                    if (i < n && format[i] == 'h') {
                        ++i;
                        size = format.substr(modStart, 2);
                    } else {
                        width = Width::kNarrow;
                        size = format.substr(modStart, 1);
                    }
                    break;
                case 'l':
                    ++i;
                    if (i < n && format[i] == 'l') {
                        ++i;
                        size = format.substr(modStart, 2);
                    } else {
                        width = Width::kWide;
                        size = format.substr(modStart, 1);
                    }
                    break;
                case 'w':
                    ++i;
                    width = Width::kWide;
                    break;
                case 'I':
                    ++i;
                    if (i + 1 < n && format[i] == '6' && format[i + 1] == '4') {
                        i += 2;
                        size = View(kLongLong, 2);
                    } else if (i + 1 < n && format[i] == '3' && format[i + 1] == '2') {
                        i += 2;
                    } else {
                        size = View(kSizeT, 1);
                    }
                    break;
                case 'L':
                case 'j':
                case 'z':
                case 't':
                case 'q':
                    ++i;
                    size = format.substr(modStart, 1);
                    break;
                default:
                    break;
            }
        }
        if (i >= n) {
            out.append(format.substr(modStart)); // incomplete: copied as it is
            break;
        }
        CharT conversion = format[i++];
        bool isText = conversion == 's' || conversion == 'S';
        bool isChar = conversion == 'c' || conversion == 'C';
        if (!isText && !isChar) {
            out.append(size);
            out.push_back(conversion);
            continue;
        }
        if (width == Width::kDefault) {
            bool upper = conversion == 'S' || conversion == 'C';
            // Windows: the plain form has the format's own width, the capital the other one.
            width = (wideFormat != upper) ? Width::kWide : Width::kNarrow;
        }
        if (width == Width::kWide) {
            out.push_back('l');
        } else if (wideFormat) {
            out.push_back('h');
        }
        out.push_back(isText ? CharT('s') : CharT('c'));
    }
    return out;
}

} // namespace

std::wstring TranslateWideFormat(std::wstring_view format) {
    return Translate(format, true);
}

std::string TranslateNarrowFormat(std::string_view format) {
    return Translate(format, false);
}

} // namespace cv::detail
