#include "platform/posix/registry_store.h"

#include "platform/file_util.h"
#include "platform/posix/registry_text.h"
#include "platform/unique_resource.h"
#include "platform/utf8.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>

namespace platform::posix {

namespace {

// A store file above this size is taken for something else rather than read into memory.
constexpr std::size_t kMaxFileSize = 64u << 20;

const char* RootFileStem(RegistryRoot root) {
    return root == RegistryRoot::kLocalMachine ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER";
}

// The file helpers take wide paths; file names are UTF-8 here.
std::wstring Wide(const std::filesystem::path& path) {
    return Utf8ToWide(path.string());
}

ErrorCode ReadWholeFile(const std::filesystem::path& path, std::string& text) {
    OpenFileResult opened = OpenTextFile(Wide(path).c_str(), TextFileMode::kRead);
    if (!opened.file) {
        return opened.error;
    }
    char buffer[16384];
    for (;;) {
        const std::size_t count = std::fread(buffer, 1, sizeof(buffer), opened.file.get());
        if (count == 0) {
            return std::ferror(opened.file.get()) ? MapErrno(errno) : kErrorSuccess;
        }
        if (text.size() + count > kMaxFileSize) {
            return kErrorRegistryCorrupt;
        }
        text.append(buffer, count);
    }
}

ErrorCode WriteFileAtomically(const std::filesystem::path& target, std::string_view bytes) {
    static std::atomic<unsigned> counter{0};
    const std::wstring temp = Wide(target.string() + ".tmp-" + std::to_string(::getpid()) + "-" +
                                   std::to_string(counter.fetch_add(1)));
    auto removeTemp = MakeScopeExit([&temp] { ::unlink(WideToUtf8(temp).c_str()); });
    {
        OpenFileResult opened = OpenTextFile(temp.c_str(), TextFileMode::kWrite);
        if (!opened.file) {
            return opened.error;
        }
        if (std::fwrite(bytes.data(), 1, bytes.size(), opened.file.get()) != bytes.size()) {
            return MapErrno(errno);
        }
        if (ErrorCode error = FlushToDisk(opened.file.get()); error != kErrorSuccess) {
            return error;
        }
    }
    if (ErrorCode error = ReplaceFileAtomically(temp.c_str(), Wide(target).c_str());
        error != kErrorSuccess) {
        return error;
    }
    removeTemp.Dismiss();
    // The rename is durable once the folder is flushed. Some file systems refuse to flush a
    // folder (EINVAL); the new file is in place either way, so that is not a failed write.
    UniqueFd folder(::open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        (void)::fsync(folder.get());
    }
    return kErrorSuccess;
}

} // namespace

struct RegistryFileStore::Snapshot {
    ParsedRegistryText parsed;
    std::string original; // the file as read, kept for the backup of a damaged file
};

ErrorCode RegistryFileStore::Read(RegistryRoot root, Snapshot& snapshot) const {
    ErrorCode error = ReadWholeFile(StorePath(root), snapshot.original);
    if (error == kErrorFileNotFound) {
        return kErrorSuccess;
    }
    if (error != kErrorSuccess) {
        return error;
    }
    snapshot.parsed = ParseRegistryText(snapshot.original);
    return snapshot.parsed.state == RegistryTextState::kForeign ? kErrorRegistryCorrupt
                                                                : kErrorSuccess;
}

ErrorCode RegistryFileStore::Load(RegistryRoot root, RegistryNode& top) const {
    Snapshot snapshot;
    ErrorCode error = Read(root, snapshot);
    if (error == kErrorSuccess) {
        top = std::move(snapshot.parsed.top);
    }
    return error;
}

ErrorCode RegistryFileStore::Update(RegistryRoot root, const Change& change) const {
    std::error_code folderError;
    std::filesystem::create_directories(m_folder, folderError);
    if (folderError) {
        return MapErrno(folderError.value());
    }
    const std::filesystem::path lockPath = m_folder / (std::string(RootFileStem(root)) + ".lock");
    UniqueFd lock(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (!lock) {
        return MapErrno(errno);
    }
    while (::flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            return MapErrno(errno);
        }
    }
    RemoveTemporaries(root);
    Snapshot snapshot;
    ErrorCode error = Read(root, snapshot);
    if (error != kErrorSuccess) {
        return error;
    }
    bool changed = false;
    error = change(snapshot.parsed.top, changed);
    if (error != kErrorSuccess || !changed) {
        return error;
    }
    if (snapshot.parsed.state == RegistryTextState::kDamaged) {
        error = WriteFileAtomically(FreeBackupPath(root), snapshot.original);
        if (error != kErrorSuccess) {
            return error;
        }
    }
    return WriteFileAtomically(StorePath(root), PrintRegistryText(snapshot.parsed.top));
}

std::filesystem::path RegistryFileStore::StorePath(RegistryRoot root) const {
    return m_folder / (std::string(RootFileStem(root)) + ".reg");
}

std::filesystem::path RegistryFileStore::FreeBackupPath(RegistryRoot root) const {
    const std::string base = StorePath(root).string() + ".corrupt";
    std::string candidate = base;
    for (int n = 2; ::access(candidate.c_str(), F_OK) == 0; ++n) {
        candidate = base + "-" + std::to_string(n);
    }
    return candidate;
}

// Under the lock no write of this root is under way, so a temporary file left beside the store
// is a crashed writer's.
void RegistryFileStore::RemoveTemporaries(RegistryRoot root) const {
    const std::string prefix = std::string(RootFileStem(root)) + ".reg.tmp-";
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder, ignored)) {
        if (entry.path().filename().string().starts_with(prefix)) {
            std::filesystem::remove(entry.path(), ignored);
        }
    }
}

} // namespace platform::posix
