#include "platform/path_spec.h"

#include "platform/win/windows_include.h"

#include <cwchar>
#include <shlwapi.h>

namespace platform {

bool RemoveFileSpec(wchar_t* path) noexcept {
    return path && PathRemoveFileSpecW(path) != FALSE;
}

wchar_t* AddBackslash(wchar_t* path, std::size_t size) noexcept {
    if (!path) {
        return nullptr;
    }
    std::size_t length = std::wcslen(path);
    // PathAddBackslashW assumes MAX_PATH characters of room; check the real room first.
    if (length != 0 && path[length - 1] != L'\\' && length + 2 > size) {
        return nullptr;
    }
    return PathAddBackslashW(path);
}

} // namespace platform
