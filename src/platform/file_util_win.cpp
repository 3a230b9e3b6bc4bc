#include "platform/file_util.h"

#include "platform/win/windows_include.h"

#include <cerrno>
#include <io.h>

namespace platform {
namespace {

ErrorCode LastErrorOr(ErrorCode fallback) noexcept {
    DWORD error = ::GetLastError();
    return error != 0 ? error : fallback;
}

} // namespace

OpenFileResult OpenTextFile(const wchar_t* path, TextFileMode mode) {
    OpenFileResult result;
    if (path == nullptr) {
        result.error = kErrorInvalidParameter;
        return result;
    }
    ::SetLastError(0);
    std::FILE* file = nullptr;
    if (::_wfopen_s(&file, path, mode == TextFileMode::kRead ? L"rt" : L"wt") != 0 ||
        file == nullptr) {
        result.error = LastErrorOr(MapErrno(errno));
        return result;
    }
    result.file.reset(file);
    return result;
}

ErrorCode FlushToDisk(std::FILE* file) noexcept {
    if (std::fflush(file) != 0) {
        return LastErrorOr(kErrorGenFailure);
    }
    if (::_commit(::_fileno(file)) != 0) {
        return LastErrorOr(kErrorGenFailure);
    }
    return kErrorSuccess;
}

ErrorCode ReplaceFileAtomically(const wchar_t* from, const wchar_t* to) noexcept {
    if (!::MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING)) {
        return LastErrorOr(kErrorGenFailure);
    }
    return kErrorSuccess;
}

} // namespace platform
