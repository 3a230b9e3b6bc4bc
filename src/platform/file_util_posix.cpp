#include "platform/file_util.h"

#include "platform/utf8.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

// File names are UTF-8 bytes here. An empty result is either an empty path or a failure; both
// name no file.
std::optional<std::string> PathToUtf8(const wchar_t* path) {
    std::string narrow = WideToUtf8(path);
    if (narrow.empty()) {
        return std::nullopt;
    }
    return narrow;
}

} // namespace

OpenFileResult OpenTextFile(const wchar_t* path, TextFileMode mode) {
    OpenFileResult result;
    std::optional<std::string> narrow = path != nullptr ? PathToUtf8(path) : std::nullopt;
    if (!narrow) {
        result.error = kErrorInvalidParameter;
        return result;
    }
    result.file.reset(std::fopen(narrow->c_str(), mode == TextFileMode::kRead ? "re" : "we"));
    if (!result.file) {
        result.error = MapErrno(errno);
        return result;
    }
    if (mode == TextFileMode::kRead) {
        // fopen opens a directory for reading here, where Windows refuses it.
        struct stat info {};
        if (::fstat(::fileno(result.file.get()), &info) != 0) {
            result.error = MapErrno(errno);
            result.file.reset();
        } else if (!S_ISREG(info.st_mode)) {
            result.error = kErrorAccessDenied;
            result.file.reset();
        }
    }
    return result;
}

ErrorCode FlushToDisk(std::FILE* file) noexcept {
    if (std::fflush(file) != 0) {
        return MapErrno(errno);
    }
    if (::fsync(::fileno(file)) != 0) {
        return MapErrno(errno);
    }
    return kErrorSuccess;
}

ErrorCode ReplaceFileAtomically(const wchar_t* from, const wchar_t* to) noexcept {
    if (from == nullptr || to == nullptr) {
        return kErrorInvalidParameter;
    }
    try {
        std::optional<std::string> source = PathToUtf8(from);
        std::optional<std::string> target = PathToUtf8(to);
        if (!source || !target) {
            return kErrorInvalidParameter;
        }
        if (std::rename(source->c_str(), target->c_str()) != 0) {
            return MapErrno(errno);
        }
        return kErrorSuccess;
    } catch (const std::bad_alloc&) {
        return kErrorNotEnoughMemory;
    }
}

} // namespace platform
