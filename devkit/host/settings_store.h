// The durable store behind the host's settings plugin: typed values under keys, grouped in nodes
// named by path ("/Nexilo"), kept in one JSON file.
//
// File form (UTF-8, written with sorted nodes and keys):
//   {
//     "/Nexilo": {
//       "email": {"string": "someone@example.com"},
//       "lastPingTime": {"int64": 1700000000}
//     },
//     "/Ipm": {"state": {"bool": true}, "width": {"int32": 738}}
//   }
// Every top-level key is a node path starting with '/'; every entry is an object with exactly
// one member naming its type: "string", "int32", "int64" or "bool".
//
// Contract:
// - Open reads the file once. A missing file is an empty store. A file that can't be read or is
//   broken (bad JSON, a wrong shape, a number out of range) fails with a message naming the file
//   and the place; the store then stays closed and never writes, so the broken file is left for
//   a person to look at.
// - Every change is saved at once: the whole file is written to "<file>.tmp", forced to the disk
//   and renamed over the file in one step, so the file is always either the old or the new
//   content. When a save fails, the change is undone in memory too and the reason is returned:
//   memory and disk never disagree.
// - Types are kept: a value is read only as the type it was stored with.
// - Threads: every operation takes the store's lock; any thread may call.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

namespace devkit::host {

// One stored value; the alternative is its type.
using SettingValue = std::variant<std::wstring, std::int32_t, std::int64_t, bool>;

class SettingsStore {
public:
    SettingsStore() = default;
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    // Reads `file` (see the contract). False with `error` on failure.
    bool Open(const std::filesystem::path& file, std::string& error);
    bool IsOpen() const;
    std::filesystem::path File() const;

    // True when `path` can name a node: it starts with '/'.
    static bool IsNodePath(const std::wstring& path);

    // Makes the node if it is missing (in memory; it is written with the next change). False
    // when the store is closed or the path is no node path.
    bool EnsureNode(const std::wstring& path);

    // The value under `key` of node `path`, if there is one.
    std::optional<SettingValue> Get(const std::wstring& path, const std::wstring& key) const;

    // Stores and saves. False with `error` when the store is closed, the path is no node path,
    // or the save failed (the old value then stays).
    bool Set(const std::wstring& path, const std::wstring& key, SettingValue value,
             std::string& error);

private:
    using Node = std::map<std::wstring, SettingValue>;
    using Nodes = std::map<std::wstring, Node>;

    bool Save(const Nodes& nodes, std::string& error) const;

    mutable std::mutex m_mutex;
    bool m_open = false;
    std::filesystem::path m_file;
    Nodes m_nodes;
};

} // namespace devkit::host
