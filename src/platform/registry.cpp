#include "platform/registry.h"

#include "platform/utf16.h"

#include <array>

namespace platform {

namespace {

std::array<unsigned char, 4> LittleEndian(std::uint32_t value) {
    return {static_cast<unsigned char>(value & 0xFF),
            static_cast<unsigned char>((value >> 8) & 0xFF),
            static_cast<unsigned char>((value >> 16) & 0xFF),
            static_cast<unsigned char>((value >> 24) & 0xFF)};
}

} // namespace

std::wstring TextFromRegistryBytes(const void* data, std::size_t size) {
    std::size_t count = data == nullptr ? 0 : size / 2;
    std::wstring text;
    text.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t unit = Utf16UnitAt(data, i);
        if (unit == 0) {
            break;
        }
        if constexpr (sizeof(wchar_t) == 4) {
            if (IsHighSurrogate(unit) && i + 1 < count &&
                IsLowSurrogate(Utf16UnitAt(data, i + 1))) {
                unit = CombineSurrogates(unit, Utf16UnitAt(data, i + 1));
                ++i;
            }
        }
        text.push_back(static_cast<wchar_t>(unit));
    }
    return text;
}

std::vector<std::byte> RegistryBytesFromText(std::wstring_view text) {
    std::vector<std::byte> bytes;
    bytes.reserve((text.size() + 1) * 2);
    for (wchar_t c : text) {
        AppendUtf16CodePoint(bytes, static_cast<std::uint32_t>(c));
    }
    AppendUtf16Unit(bytes, 0);
    return bytes;
}

RegistryString RegistryKey::GetString(std::wstring_view name) const {
    RegistryString result;
    std::uint32_t type = kRegNone;
    std::uint32_t size = 0;
    result.error = QueryValue(name, &type, nullptr, &size);
    if (result.error != kErrorSuccess) {
        return result;
    }
    std::vector<std::byte> buffer;
    // The value may grow between measuring and reading; a few rounds settle it.
    for (int attempt = 0; attempt < 8; ++attempt) {
        if (type != kRegSz && type != kRegExpandSz) {
            result.error = kErrorUnsupportedType;
            return result;
        }
        buffer.resize(size);
        result.error = QueryValue(name, &type, buffer.data(), &size);
        if (result.error != kErrorMoreData) {
            break;
        }
    }
    if (result.error == kErrorSuccess && type != kRegSz && type != kRegExpandSz) {
        result.error = kErrorUnsupportedType;
    }
    if (result.error == kErrorSuccess) {
        result.value = TextFromRegistryBytes(buffer.data(), size);
    }
    return result;
}

RegistryDword RegistryKey::GetDword(std::wstring_view name) const {
    RegistryDword result;
    std::uint32_t type = kRegNone;
    unsigned char bytes[4] = {};
    std::uint32_t size = sizeof(bytes);
    result.error = QueryValue(name, &type, bytes, &size);
    if (result.error != kErrorSuccess && result.error != kErrorMoreData) {
        return result;
    }
    if (type != kRegDword) {
        result.error = kErrorUnsupportedType;
    } else if (result.error == kErrorMoreData || size != sizeof(bytes)) {
        result.error = kErrorInvalidData;
    } else {
        result.value = static_cast<std::uint32_t>(bytes[0]) | (std::uint32_t{bytes[1]} << 8) |
                       (std::uint32_t{bytes[2]} << 16) | (std::uint32_t{bytes[3]} << 24);
    }
    return result;
}

ErrorCode RegistryKey::SetString(std::wstring_view name, std::wstring_view text) {
    std::vector<std::byte> bytes = RegistryBytesFromText(text);
    return SetValue(name, kRegSz, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

ErrorCode RegistryKey::SetDword(std::wstring_view name, std::uint32_t value) {
    std::array<unsigned char, 4> bytes = LittleEndian(value);
    return SetValue(name, kRegDword, bytes.data(), bytes.size());
}

RegistryString Registry::ReadString(RegistryRoot root, std::wstring_view path,
                                    std::wstring_view name) const {
    RegistryKeyResult opened = OpenKey(root, path, kKeyQueryValue);
    if (!opened.key) {
        return {opened.error, {}};
    }
    return opened.key->GetString(name);
}

RegistryDword Registry::ReadDword(RegistryRoot root, std::wstring_view path,
                                  std::wstring_view name) const {
    RegistryKeyResult opened = OpenKey(root, path, kKeyQueryValue);
    if (!opened.key) {
        return {opened.error, 0};
    }
    return opened.key->GetDword(name);
}

ErrorCode Registry::WriteString(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                                std::wstring_view text) {
    std::vector<std::byte> bytes = RegistryBytesFromText(text);
    return SetKeyValue(root, path, name, kRegSz, bytes.data(),
                       static_cast<std::uint32_t>(bytes.size()));
}

ErrorCode Registry::WriteDword(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                               std::uint32_t value) {
    std::array<unsigned char, 4> bytes = LittleEndian(value);
    return SetKeyValue(root, path, name, kRegDword, bytes.data(), bytes.size());
}

} // namespace platform
