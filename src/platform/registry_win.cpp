#include "platform/registry.h"

#include "platform/win/unique_hkey.h"
#include "platform/win/windows_include.h"

namespace platform {

namespace {

HKEY RootHandle(RegistryRoot root) {
    return root == RegistryRoot::kLocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

REGSAM ViewFlag(RegistryView view) {
    switch (view) {
        case RegistryView::k32Bit:
            return KEY_WOW64_32KEY;
        case RegistryView::k64Bit:
            return KEY_WOW64_64KEY;
        case RegistryView::kNative:
            break;
    }
    return 0;
}

// The Windows calls need terminated names; an empty path or name stays an empty text, which
// Windows reads as the key itself or its default value.
std::wstring Terminated(std::wstring_view text) {
    return std::wstring(text.substr(0, text.find(L'\0')));
}

// Lists names with an enumeration call that reports ERROR_MORE_DATA for a short buffer.
template <class Enumerate>
RegistryNames ListNames(DWORD longest, Enumerate enumerate) {
    RegistryNames result;
    std::wstring buffer(static_cast<std::size_t>(longest) + 1, L'\0');
    for (DWORD index = 0;;) {
        auto length = static_cast<DWORD>(buffer.size());
        LSTATUS status = enumerate(index, buffer.data(), &length);
        if (status == ERROR_NO_MORE_ITEMS) {
            return result;
        }
        if (status == ERROR_MORE_DATA) {
            // A name longer than the key reported when asked; grow and ask again.
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (status != ERROR_SUCCESS) {
            result.error = static_cast<ErrorCode>(status);
            result.names.clear();
            return result;
        }
        result.names.emplace_back(buffer.data(), length);
        ++index;
    }
}

class WinKey final : public RegistryKey {
public:
    explicit WinKey(UniqueHKey key) : m_key(std::move(key)) {}

    ErrorCode QueryValue(std::wstring_view name, std::uint32_t* type, void* data,
                         std::uint32_t* size) const override {
        DWORD winType = REG_NONE;
        DWORD winSize = size != nullptr ? *size : 0;
        LSTATUS status = ::RegQueryValueExW(
            m_key.get(), Terminated(name).c_str(), nullptr, type != nullptr ? &winType : nullptr,
            static_cast<BYTE*>(data), size != nullptr ? &winSize : nullptr);
        if (type != nullptr && (status == ERROR_SUCCESS || status == ERROR_MORE_DATA)) {
            *type = winType;
        }
        if (size != nullptr && (status == ERROR_SUCCESS || status == ERROR_MORE_DATA)) {
            *size = winSize;
        }
        return static_cast<ErrorCode>(status);
    }

    ErrorCode SetValue(std::wstring_view name, std::uint32_t type, const void* data,
                       std::uint32_t size) override {
        return static_cast<ErrorCode>(::RegSetValueExW(m_key.get(), Terminated(name).c_str(), 0,
                                                       type, static_cast<const BYTE*>(data), size));
    }

    RegistryNames ValueNames() const override {
        DWORD longest = 0;
        LSTATUS status =
            ::RegQueryInfoKeyW(m_key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, &longest, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS) {
            return {static_cast<ErrorCode>(status), {}};
        }
        return ListNames(longest, [this](DWORD index, wchar_t* name, DWORD* length) {
            return ::RegEnumValueW(m_key.get(), index, name, length, nullptr, nullptr, nullptr,
                                   nullptr);
        });
    }

    RegistryNames SubKeyNames() const override {
        DWORD longest = 0;
        LSTATUS status =
            ::RegQueryInfoKeyW(m_key.get(), nullptr, nullptr, nullptr, nullptr, &longest, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS) {
            return {static_cast<ErrorCode>(status), {}};
        }
        return ListNames(longest, [this](DWORD index, wchar_t* name, DWORD* length) {
            return ::RegEnumKeyExW(m_key.get(), index, name, length, nullptr, nullptr, nullptr,
                                   nullptr);
        });
    }

private:
    UniqueHKey m_key;
};

class WinRegistry final : public Registry {
public:
    explicit WinRegistry(RegistryView view) : m_view(ViewFlag(view)) {}

    RegistryKeyResult OpenKey(RegistryRoot root, std::wstring_view path,
                              std::uint32_t access) const override {
        UniqueHKey key;
        LSTATUS status = ::RegOpenKeyExW(RootHandle(root), Terminated(path).c_str(), 0,
                                         access | m_view, key.put());
        if (status != ERROR_SUCCESS) {
            return {nullptr, static_cast<ErrorCode>(status)};
        }
        return {std::make_unique<WinKey>(std::move(key)), kErrorSuccess};
    }

    RegistryKeyResult CreateKey(RegistryRoot root, std::wstring_view path,
                                std::uint32_t access) override {
        UniqueHKey key;
        DWORD disposition = 0;
        LSTATUS status = ::RegCreateKeyExW(RootHandle(root), Terminated(path).c_str(), 0, nullptr,
                                           REG_OPTION_NON_VOLATILE, access | m_view, nullptr,
                                           key.put(), &disposition);
        if (status != ERROR_SUCCESS) {
            return {nullptr, static_cast<ErrorCode>(status)};
        }
        return {std::make_unique<WinKey>(std::move(key)), kErrorSuccess,
                disposition == REG_CREATED_NEW_KEY};
    }

    ErrorCode SetKeyValue(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                          std::uint32_t type, const void* data, std::uint32_t size) override {
        std::wstring subKey = Terminated(path);
        std::wstring valueName = Terminated(name);
        if (m_view == 0) {
            return static_cast<ErrorCode>(::RegSetKeyValueW(RootHandle(root), subKey.c_str(),
                                                            valueName.c_str(), type, data, size));
        }
        // RegSetKeyValueW takes no view, so another view goes through its own open key.
        UniqueHKey key;
        LSTATUS status =
            ::RegCreateKeyExW(RootHandle(root), subKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_SET_VALUE | m_view, nullptr, key.put(), nullptr);
        if (status != ERROR_SUCCESS) {
            return static_cast<ErrorCode>(status);
        }
        return static_cast<ErrorCode>(::RegSetValueExW(key.get(), valueName.c_str(), 0, type,
                                                       static_cast<const BYTE*>(data), size));
    }

private:
    REGSAM m_view;
};

} // namespace

std::unique_ptr<Registry> MakeSystemRegistry(RegistryView view) {
    return std::make_unique<WinRegistry>(view);
}

Registry& SystemRegistry() {
    static WinRegistry registry(RegistryView::kNative);
    return registry;
}

} // namespace platform
