#include "platform/registry.h"

#include "platform/posix/registry_store.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace platform {

namespace {

using posix::RegistryFileStore;
using posix::RegistryNode;
using posix::RegistryPath;
using posix::RegistryValue;

constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kGenericExecute = 0x20000000;
constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kMaximumAllowed = 0x02000000;

std::wstring_view UpToNul(std::wstring_view name) {
    return name.substr(0, name.find(L'\0'));
}

ErrorCode SplitPath(std::wstring_view path, RegistryPath& parts) {
    path = UpToNul(path);
    if (!path.empty() && path.front() == L'\\') {
        return kErrorBadPathname;
    }
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t end = path.find(L'\\', start);
        if (end == std::wstring_view::npos) {
            end = path.size();
        }
        if (end > start) {
            parts.emplace_back(path.substr(start, end - start));
        }
        start = end + 1;
    }
    return kErrorSuccess;
}

std::uint32_t GrantedRights(std::uint32_t access) {
    if (access & (kGenericRead | kGenericExecute)) {
        access |= kKeyRead;
    }
    if (access & kGenericWrite) {
        access |= kKeyWrite;
    }
    if (access & (kGenericAll | kMaximumAllowed)) {
        access |= kKeyAllAccess;
    }
    return access;
}

class FileKey final : public RegistryKey {
public:
    FileKey(std::shared_ptr<const RegistryFileStore> store, RegistryRoot root, RegistryPath path,
            std::uint32_t access)
        : m_store(std::move(store)), m_root(root), m_path(std::move(path)), m_access(access) {}

    ErrorCode QueryValue(std::wstring_view name, std::uint32_t* type, void* data,
                         std::uint32_t* size) const override {
        if ((m_access & kKeyQueryValue) == 0) {
            return kErrorAccessDenied;
        }
        if (data != nullptr && size == nullptr) {
            return kErrorInvalidParameter;
        }
        RegistryNode top;
        const RegistryNode* key = nullptr;
        if (ErrorCode error = LoadKey(top, key); error != kErrorSuccess) {
            return error;
        }
        const RegistryValue* value = posix::FindRegistryValue(*key, UpToNul(name));
        if (value == nullptr) {
            return kErrorFileNotFound;
        }
        if (type != nullptr) {
            *type = value->type;
        }
        if (size == nullptr) {
            return kErrorSuccess;
        }
        auto needed = static_cast<std::uint32_t>(value->data.size());
        if (data != nullptr) {
            if (*size < needed) {
                *size = needed;
                return kErrorMoreData;
            }
            if (needed != 0) {
                std::memcpy(data, value->data.data(), needed);
            }
        }
        *size = needed;
        return kErrorSuccess;
    }

    ErrorCode SetValue(std::wstring_view name, std::uint32_t type, const void* data,
                       std::uint32_t size) override {
        if ((m_access & kKeySetValue) == 0) {
            return kErrorAccessDenied;
        }
        if (data == nullptr && size != 0) {
            return kErrorNoAccess;
        }
        name = UpToNul(name);
        if (name.size() > kMaxValueNameLength) {
            return kErrorInvalidParameter;
        }
        const auto* bytes = static_cast<const std::byte*>(data);
        std::vector<std::byte> copy(bytes, bytes + size);
        return m_store->Update(m_root, [&](RegistryNode& top, bool& changed) {
            RegistryNode* key = posix::FindRegistryKey(top, m_path);
            if (key == nullptr) {
                return kErrorKeyDeleted;
            }
            changed = posix::PutRegistryValue(*key, name, type, std::move(copy));
            return kErrorSuccess;
        });
    }

    RegistryNames ValueNames() const override {
        return NamesOf(kKeyQueryValue, &RegistryNode::values);
    }

    RegistryNames SubKeyNames() const override {
        return NamesOf(kKeyEnumerateSubKeys, &RegistryNode::children);
    }

private:
    // The names of the key's values or subkeys, given the access right that listing them needs.
    template <class Item>
    RegistryNames NamesOf(std::uint32_t right, std::vector<Item> RegistryNode::*list) const {
        RegistryNames result;
        RegistryNode top;
        const RegistryNode* key = nullptr;
        if ((m_access & right) == 0) {
            result.error = kErrorAccessDenied;
        } else if (result.error = LoadKey(top, key); result.error == kErrorSuccess) {
            for (const Item& item : key->*list) {
                result.names.push_back(item.name);
            }
        }
        return result;
    }

    // The key in a fresh copy of its root's tree.
    ErrorCode LoadKey(RegistryNode& top, const RegistryNode*& key) const {
        if (ErrorCode error = m_store->Load(m_root, top); error != kErrorSuccess) {
            return error;
        }
        key = posix::FindRegistryKey(top, m_path);
        return key == nullptr ? kErrorKeyDeleted : kErrorSuccess;
    }

    std::shared_ptr<const RegistryFileStore> m_store;
    RegistryRoot m_root;
    RegistryPath m_path;
    std::uint32_t m_access;
};

class FileRegistry final : public Registry {
public:
    explicit FileRegistry(std::filesystem::path folder)
        : m_store(std::make_shared<const RegistryFileStore>(std::move(folder))) {}

    RegistryKeyResult OpenKey(RegistryRoot root, std::wstring_view path,
                              std::uint32_t access) const override {
        RegistryPath parts;
        if (ErrorCode error = SplitPath(path, parts); error != kErrorSuccess) {
            return {nullptr, error};
        }
        RegistryNode top;
        if (ErrorCode error = m_store->Load(root, top); error != kErrorSuccess) {
            return {nullptr, error};
        }
        if (posix::FindRegistryKey(top, parts) == nullptr) {
            return {nullptr, kErrorFileNotFound};
        }
        return {std::make_unique<FileKey>(m_store, root, std::move(parts), GrantedRights(access)),
                kErrorSuccess};
    }

    RegistryKeyResult CreateKey(RegistryRoot root, std::wstring_view path,
                                std::uint32_t access) override {
        RegistryPath parts;
        if (ErrorCode error = SplitPath(path, parts); error != kErrorSuccess) {
            return {nullptr, error};
        }
        bool created = false;
        ErrorCode error = m_store->Update(root, [&](RegistryNode& top, bool& changed) {
            posix::EnsureRegistryKey(top, parts, created);
            changed = created;
            return kErrorSuccess;
        });
        if (error != kErrorSuccess) {
            return {nullptr, error};
        }
        return {std::make_unique<FileKey>(m_store, root, std::move(parts), GrantedRights(access)),
                kErrorSuccess, created};
    }

    ErrorCode SetKeyValue(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                          std::uint32_t type, const void* data, std::uint32_t size) override {
        RegistryPath parts;
        if (ErrorCode error = SplitPath(path, parts); error != kErrorSuccess) {
            return error;
        }
        if (data == nullptr && size != 0) {
            return kErrorNoAccess;
        }
        name = UpToNul(name);
        if (name.size() > kMaxValueNameLength) {
            return kErrorInvalidParameter;
        }
        const auto* bytes = static_cast<const std::byte*>(data);
        std::vector<std::byte> copy(bytes, bytes + size);
        return m_store->Update(root, [&](RegistryNode& top, bool& changed) {
            bool created = false;
            RegistryNode& key = posix::EnsureRegistryKey(top, parts, created);
            changed = posix::PutRegistryValue(key, name, type, std::move(copy)) || created;
            return kErrorSuccess;
        });
    }

private:
    std::shared_ptr<const RegistryFileStore> m_store;
};

std::filesystem::path HomeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return home;
    }
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_dir != nullptr && *found->pw_dir != '\0') {
        return found->pw_dir;
    }
    // No home at all (a bare service account): a per-user folder that at least exists.
    return std::filesystem::temp_directory_path() / ("nexilo-" + std::to_string(::getuid()));
}

} // namespace

std::filesystem::path DefaultRegistryFolder() {
    if (const char* root = std::getenv("NEXILO_REGISTRY_ROOT"); root != nullptr && *root != '\0') {
        return root;
    }
    // The XDG base directory rules say to ignore a relative XDG_STATE_HOME.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
        return std::filesystem::path(state) / "nexilo" / "registry";
    }
    return HomeFolder() / ".local" / "state" / "nexilo" / "registry";
}

std::unique_ptr<Registry> MakeFileRegistry(std::filesystem::path folder) {
    return std::make_unique<FileRegistry>(std::move(folder));
}

std::unique_ptr<Registry> MakeSystemRegistry(RegistryView) {
    return MakeFileRegistry(DefaultRegistryFolder());
}

Registry& SystemRegistry() {
    static FileRegistry registry(DefaultRegistryFolder());
    return registry;
}

} // namespace platform
