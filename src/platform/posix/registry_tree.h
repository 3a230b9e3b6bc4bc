// The in-memory tree of one registry root, as the POSIX registry keeps it between its file and
// its callers: keys with names, values with types and bytes.
//
// Names compare as Windows compares registry names: case-insensitively, by upper-casing each
// UTF-16 unit in a UTF-8 locale of the process's own (so "Café" matches "CAFÉ" whatever the
// process locale is; without such a locale only ASCII folds). A name keeps the spelling it was
// created with. Plain data; not synchronised.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform::posix {

struct RegistryValue {
    std::wstring name;
    std::uint32_t type = 0;
    std::vector<std::byte> data;
};

struct RegistryNode {
    std::wstring name;
    std::vector<RegistryValue> values;
    std::vector<RegistryNode> children;
};

using RegistryPath = std::vector<std::wstring>;

// True when the two names are the same registry name.
bool SameRegistryName(std::wstring_view a, std::wstring_view b);

// The key at `path` under `top`, or null.
RegistryNode* FindRegistryKey(RegistryNode& top, const RegistryPath& path);
// The key at `path`, made with its missing parents; `created` turns true when one was made.
RegistryNode& EnsureRegistryKey(RegistryNode& top, const RegistryPath& path, bool& created);

const RegistryValue* FindRegistryValue(const RegistryNode& key, std::wstring_view name);
// Sets a value, keeping the spelling of an existing name; true when something changed.
bool PutRegistryValue(RegistryNode& key, std::wstring_view name, std::uint32_t type,
                      std::vector<std::byte> data);

} // namespace platform::posix
