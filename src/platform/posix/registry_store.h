// The files behind the POSIX registry: one registry text (registry_text.h) per root in a folder,
// "HKEY_LOCAL_MACHINE.reg" and "HKEY_CURRENT_USER.reg".
//
// Contract:
// - Load reads a root's file as it is now; no file (or no folder) is an empty root, and reading
//   creates nothing. Readers take no lock: files are only ever replaced whole.
// - Update applies a change to a root under an exclusive flock on "<root>.lock", so writers in
//   any process apply their changes one after the other, and writes the file back only when the
//   change says it changed something: a temporary file beside it, flushed to the disk, renamed
//   over it, the folder flushed. Temporary files that a crashed writer left are removed first.
// - A file with damaged lines is read without them; the next write first keeps the original
//   beside it as "<root>.reg.corrupt" (then "-2", "-3", ...). A file that is not a registry text
//   at all, or one above 64 MiB, gives kErrorRegistryCorrupt and is never overwritten.
// - File system errors are Windows numbers (MapErrno). Thread-safe; calls block on file I/O and
//   writers on each other.
#pragma once

#include "platform/error_codes.h"
#include "platform/posix/registry_tree.h"
#include "platform/registry.h"

#include <filesystem>
#include <functional>

namespace platform::posix {

class RegistryFileStore {
public:
    // Sets `changed` when it changed the tree; a non-zero result cancels the write.
    using Change = std::function<ErrorCode(RegistryNode& top, bool& changed)>;

    explicit RegistryFileStore(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    [[nodiscard]] ErrorCode Load(RegistryRoot root, RegistryNode& top) const;
    [[nodiscard]] ErrorCode Update(RegistryRoot root, const Change& change) const;

private:
    struct Snapshot;
    ErrorCode Read(RegistryRoot root, Snapshot& snapshot) const;
    std::filesystem::path StorePath(RegistryRoot root) const;
    std::filesystem::path FreeBackupPath(RegistryRoot root) const;
    void RemoveTemporaries(RegistryRoot root) const;

    std::filesystem::path m_folder;
};

} // namespace platform::posix
