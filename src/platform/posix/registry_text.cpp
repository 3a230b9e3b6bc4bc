#include "platform/posix/registry_text.h"

#include "platform/hex.h"
#include "platform/registry.h"
#include "platform/utf16.h"
#include "platform/utf8.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace platform::posix {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

// --- Printing ----------------------------------------------------------------------------------

void AppendPercent(std::string& out, unsigned char byte) {
    out += '%';
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 0xF];
}

// Writes `units` UTF-16LE code units from `data` as escaped text.
void AppendText(std::string& out, const std::byte* data, std::size_t units) {
    for (std::size_t i = 0; i < units; ++i) {
        std::uint32_t point = Utf16UnitAt(data, i);
        bool lone = point >= 0xD800 && point <= 0xDFFF;
        if (IsHighSurrogate(point) && i + 1 < units && IsLowSurrogate(Utf16UnitAt(data, i + 1))) {
            point = CombineSurrogates(point, Utf16UnitAt(data, i + 1));
            lone = false;
            ++i;
        }
        char bytes[4];
        if (point == '%' || point < 0x20 || point == 0x7F) {
            AppendPercent(out, static_cast<unsigned char>(point));
        } else if (lone) {
            const std::size_t length = EncodeUtf8(point, bytes);
            for (std::size_t k = 0; k < length; ++k) {
                AppendPercent(out, static_cast<unsigned char>(bytes[k]));
            }
        } else {
            out.append(bytes, EncodeUtf8(point, bytes));
        }
    }
}

void AppendName(std::string& out, std::wstring_view name) {
    std::vector<std::byte> bytes = RegistryBytesFromText(name);
    AppendText(out, bytes.data(), bytes.size() / 2 - 1);
}

const char* TextFormName(std::uint32_t type) {
    switch (type) {
        case kRegSz:
            return "sz";
        case kRegExpandSz:
            return "expand_sz";
        case kRegMultiSz:
            return "multi_sz";
        default:
            return nullptr;
    }
}

template <class T>
T ReadLittleEndian(const std::vector<std::byte>& data) {
    T number = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        number |= static_cast<T>(std::to_integer<unsigned>(data[i])) << (8 * i);
    }
    return number;
}

template <class T>
std::vector<std::byte> WriteLittleEndian(T number) {
    std::vector<std::byte> data(sizeof(T));
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        data[i] = static_cast<std::byte>((number >> (8 * i)) & 0xFF);
    }
    return data;
}

bool EndsWithTerminator(const std::vector<std::byte>& data) {
    const std::size_t size = data.size();
    return size >= 2 && size % 2 == 0 && data[size - 1] == std::byte{0} &&
           data[size - 2] == std::byte{0};
}

void AppendValueData(std::string& out, const RegistryValue& value) {
    const std::vector<std::byte>& data = value.data;
    const char* textForm = TextFormName(value.type);
    if (textForm != nullptr && EndsWithTerminator(data)) {
        out += textForm;
        out += '\t';
        AppendText(out, data.data(), data.size() / 2 - 1);
    } else if (value.type == kRegDword && data.size() == 4) {
        out += "dword\t";
        out += std::to_string(ReadLittleEndian<std::uint32_t>(data));
    } else if (value.type == kRegQword && data.size() == 8) {
        out += "qword\t";
        out += std::to_string(ReadLittleEndian<std::uint64_t>(data));
    } else {
        out += "hex:";
        out += std::to_string(value.type);
        out += '\t';
        for (std::byte byte : data) {
            auto bits = std::to_integer<unsigned>(byte);
            out += kHexDigits[bits >> 4];
            out += kHexDigits[bits & 0xF];
        }
    }
}

void AppendKey(std::string& out, const RegistryNode& key, const std::string& path) {
    for (const RegistryValue& value : key.values) {
        out += "V\t";
        out += path;
        out += '\t';
        AppendName(out, value.name);
        out += '\t';
        AppendValueData(out, value);
        out += '\n';
    }
    for (const RegistryNode& child : key.children) {
        std::string childPath = path;
        if (!childPath.empty()) {
            childPath += '\\';
        }
        AppendName(childPath, child.name);
        out += "K\t";
        out += childPath;
        out += '\n';
        AppendKey(out, child, childPath);
    }
}

// --- Parsing -----------------------------------------------------------------------------------

// The bytes of a field with its %XX escapes undone; false for a bad escape or a raw control
// character.
bool Unescape(std::string_view field, std::string& bytes) {
    bytes.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        auto c = static_cast<unsigned char>(field[i]);
        if (c == '%') {
            if (i + 2 >= field.size()) {
                return false;
            }
            int high = HexDigitValue(field[i + 1]);
            int low = HexDigitValue(field[i + 2]);
            if (high < 0 || low < 0) {
                return false;
            }
            bytes += static_cast<char>(high * 16 + low);
            i += 2;
        } else if (c < 0x20 || c == 0x7F) {
            return false;
        } else {
            bytes += static_cast<char>(c);
        }
    }
    return true;
}

// Reads escaped text into UTF-16LE code units. Surrogates may stand encoded on their own (the
// printer writes lone ones so); overlong forms and points above U+10FFFF are refused.
bool ParseText(std::string_view field, std::vector<std::byte>& out) {
    std::string bytes;
    if (!Unescape(field, bytes)) {
        return false;
    }
    static constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    for (std::size_t i = 0; i < bytes.size();) {
        auto lead = static_cast<unsigned char>(bytes[i]);
        std::uint32_t point = 0;
        std::size_t length = 0;
        if (lead < 0x80) {
            point = lead;
            length = 1;
        } else if ((lead & 0xE0) == 0xC0) {
            point = lead & 0x1F;
            length = 2;
        } else if ((lead & 0xF0) == 0xE0) {
            point = lead & 0x0F;
            length = 3;
        } else if ((lead & 0xF8) == 0xF0) {
            point = lead & 0x07;
            length = 4;
        } else {
            return false;
        }
        if (i + length > bytes.size()) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            auto next = static_cast<unsigned char>(bytes[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = (point << 6) | (next & 0x3F);
        }
        if (point < kSmallest[length] || point > 0x10FFFF) {
            return false;
        }
        i += length;
        AppendUtf16CodePoint(out, point);
    }
    return true;
}

bool ParseName(std::string_view field, std::wstring& name) {
    std::vector<std::byte> bytes;
    if (!ParseText(field, bytes)) {
        return false;
    }
    // A name ends at its first NUL, so one with a NUL inside was never printed.
    for (std::size_t i = 0; i < bytes.size() / 2; ++i) {
        if (Utf16UnitAt(bytes.data(), i) == 0) {
            return false;
        }
    }
    name = TextFromRegistryBytes(bytes.data(), bytes.size());
    return true;
}

template <class T>
bool ParseNumber(std::string_view field, T& number) {
    const char* end = field.data() + field.size();
    auto [stop, error] = std::from_chars(field.data(), end, number);
    return error == std::errc() && stop == end && !field.empty();
}

bool ParseValueData(std::string_view form, std::string_view field, RegistryValue& value) {
    for (std::uint32_t type : {kRegSz, kRegExpandSz, kRegMultiSz}) {
        if (form == TextFormName(type)) {
            value.type = type;
            if (!ParseText(field, value.data)) {
                return false;
            }
            AppendUtf16Unit(value.data, 0);
            return true;
        }
    }
    if (form == "dword" || form == "qword") {
        std::uint64_t number = 0;
        const bool wide = form == "qword";
        if (!ParseNumber(field, number) || (!wide && number > 0xFFFFFFFFu)) {
            return false;
        }
        value.type = wide ? kRegQword : kRegDword;
        value.data = wide ? WriteLittleEndian(number)
                          : WriteLittleEndian(static_cast<std::uint32_t>(number));
        return true;
    }
    if (form.substr(0, 4) != "hex:" || !ParseNumber(form.substr(4), value.type) ||
        field.size() % 2 != 0) {
        return false;
    }
    for (std::size_t i = 0; i < field.size(); i += 2) {
        int high = HexDigitValue(field[i]);
        int low = HexDigitValue(field[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        value.data.push_back(static_cast<std::byte>(high * 16 + low));
    }
    return true;
}

std::vector<std::string_view> SplitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    std::size_t start = 0;
    for (;;) {
        std::size_t end = line.find('\t', start);
        fields.push_back(line.substr(start, end - start));
        if (end == std::string_view::npos) {
            return fields;
        }
        start = end + 1;
    }
}

bool ParseKeyPath(std::string_view field, RegistryPath& parts) {
    std::size_t start = 0;
    while (start < field.size()) {
        std::size_t end = std::min(field.find('\\', start), field.size());
        if (end > start) {
            std::wstring name;
            if (!ParseName(field.substr(start, end - start), name) || name.empty()) {
                return false;
            }
            parts.push_back(std::move(name));
        }
        start = end + 1;
    }
    return true;
}

// Applies one record to the tree; false for a line that is not a record.
bool ParseRecord(std::string_view line, RegistryNode& top) {
    std::vector<std::string_view> fields = SplitFields(line);
    RegistryPath parts;
    bool created = false;
    if (fields[0] == "K" && fields.size() == 2) {
        if (!ParseKeyPath(fields[1], parts)) {
            return false;
        }
        EnsureRegistryKey(top, parts, created);
        return true;
    }
    if (fields[0] != "V" || fields.size() != 5 || !ParseKeyPath(fields[1], parts)) {
        return false;
    }
    RegistryValue value;
    if (!ParseName(fields[2], value.name) || !ParseValueData(fields[3], fields[4], value)) {
        return false;
    }
    PutRegistryValue(EnsureRegistryKey(top, parts, created), value.name, value.type,
                     std::move(value.data));
    return true;
}

} // namespace

ParsedRegistryText ParseRegistryText(std::string_view text) {
    ParsedRegistryText parsed;
    bool first = true;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const bool complete = end != std::string_view::npos;
        std::string_view line = text.substr(0, end);
        text = complete ? text.substr(end + 1) : std::string_view();
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (first) {
            first = false;
            if (!complete || line != kRegistryTextHeader) {
                return {RegistryNode{}, RegistryTextState::kForeign};
            }
            continue;
        }
        // Every record is printed with its line end; a last line without one was cut short.
        if (!complete || (!line.empty() && !ParseRecord(line, parsed.top))) {
            parsed.state = RegistryTextState::kDamaged;
        }
    }
    return parsed;
}

std::string PrintRegistryText(const RegistryNode& top) {
    std::string out(kRegistryTextHeader);
    out += '\n';
    AppendKey(out, top, {});
    return out;
}

} // namespace platform::posix
