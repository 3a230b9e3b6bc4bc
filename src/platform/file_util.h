// Files by wide path: open in text mode, force written data to the disk, replace atomically.
//
// Text mode exists only on Windows (LF is written as CR LF and CR LF read as LF); on POSIX the
// bytes pass unchanged. Opening for reading accepts regular files only, so a directory or a
// device at the path fails at the open instead of at the first read. Results carry Windows error
// numbers on every system. Thread-safe; the returned FILE belongs to the caller.
#pragma once

#include "platform/error_codes.h"
#include "platform/unique_resource.h"

#include <cstdio>

namespace platform {

struct FileTraits {
    using Type = std::FILE*;
    static constexpr std::FILE* Invalid() noexcept { return nullptr; }
    static void Close(std::FILE* file) noexcept { std::fclose(file); }
};
using UniqueFile = UniqueResource<FileTraits>;

enum class TextFileMode {
    kRead,  // existing regular file, from its start
    kWrite, // created, or truncated when it exists
};

struct [[nodiscard]] OpenFileResult {
    UniqueFile file;
    ErrorCode error = kErrorSuccess;
};

OpenFileResult OpenTextFile(const wchar_t* path, TextFileMode mode);

// Flushes the stream's buffer and asks the system to put the file's data on the disk.
[[nodiscard]] ErrorCode FlushToDisk(std::FILE* file) noexcept;

// Renames `from` to `to` in one step, replacing a file at `to`. Where `to` cannot be replaced
// (a directory, no rights, and on Windows a file held open without delete sharing) both stay
// as they were.
[[nodiscard]] ErrorCode ReplaceFileAtomically(const wchar_t* from, const wchar_t* to) noexcept;

} // namespace platform
