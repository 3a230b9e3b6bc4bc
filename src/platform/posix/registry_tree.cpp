#include "platform/posix/registry_tree.h"

#include "platform/posix/utf8_locale.h"

#include <wctype.h>

#include <utility>

namespace platform::posix {

namespace {

wchar_t FoldChar(wchar_t c) {
    if (c < 0x80) {
        return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - (L'a' - L'A')) : c;
    }
    // Windows upper-cases UTF-16 units, so characters beyond the BMP never fold there.
    if (static_cast<std::uint32_t>(c) > 0xFFFF) {
        return c;
    }
    // The process locale must not change what a name matches.
    const locale_t utf8 = Utf8CtypeLocale();
    if (utf8 == static_cast<locale_t>(0)) {
        return c;
    }
    return static_cast<wchar_t>(towupper_l(static_cast<wint_t>(c), utf8));
}

RegistryNode* FindChild(RegistryNode& key, std::wstring_view name) {
    for (RegistryNode& child : key.children) {
        if (SameRegistryName(child.name, name)) {
            return &child;
        }
    }
    return nullptr;
}

} // namespace

bool SameRegistryName(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i] && FoldChar(a[i]) != FoldChar(b[i])) {
            return false;
        }
    }
    return true;
}

RegistryNode* FindRegistryKey(RegistryNode& top, const RegistryPath& path) {
    RegistryNode* key = &top;
    for (const std::wstring& part : path) {
        key = FindChild(*key, part);
        if (key == nullptr) {
            return nullptr;
        }
    }
    return key;
}

RegistryNode& EnsureRegistryKey(RegistryNode& top, const RegistryPath& path, bool& created) {
    RegistryNode* key = &top;
    for (const std::wstring& part : path) {
        RegistryNode* child = FindChild(*key, part);
        if (child == nullptr) {
            key->children.push_back(RegistryNode{part, {}, {}});
            child = &key->children.back();
            created = true;
        }
        key = child;
    }
    return *key;
}

const RegistryValue* FindRegistryValue(const RegistryNode& key, std::wstring_view name) {
    for (const RegistryValue& value : key.values) {
        if (SameRegistryName(value.name, name)) {
            return &value;
        }
    }
    return nullptr;
}

bool PutRegistryValue(RegistryNode& key, std::wstring_view name, std::uint32_t type,
                      std::vector<std::byte> data) {
    for (RegistryValue& value : key.values) {
        if (SameRegistryName(value.name, name)) {
            if (value.type == type && value.data == data) {
                return false;
            }
            value.type = type;
            value.data = std::move(data);
            return true;
        }
    }
    key.values.push_back(RegistryValue{std::wstring(name), type, std::move(data)});
    return true;
}

} // namespace platform::posix
