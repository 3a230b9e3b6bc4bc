#include "platform/file_util.h"

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

// wchar_t holds UTF-32 here; file names are UTF-8 bytes. A value that is no Unicode scalar
// cannot name a file we made, so it fails instead of being replaced.
std::optional<std::string> PathToUtf8(const wchar_t* path) {
    std::string out;
    for (; *path != 0; ++path) {
        auto c = static_cast<std::uint32_t>(*path);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            if (c >= 0xD800 && c <= 0xDFFF) {
                return std::nullopt;
            }
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c <= 0x10FFFF) {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            return std::nullopt;
        }
    }
    return out;
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
