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
    if (length == 0 || path[length - 1] == L'\\') {
        return path + length;
    }
    // PathAddBackslashW assumes MAX_PATH characters of room; check the real room first.
    if (length + 2 > size) {
        return nullptr;
    }
    if (length + 1 < MAX_PATH) {
        return PathAddBackslashW(path);
    }
    // PathAddBackslashW refuses paths from MAX_PATH on; long paths get their separator here.
    path[length] = L'\\';
    path[length + 1] = L'\0';
    return path + length + 1;
}

} // namespace platform
