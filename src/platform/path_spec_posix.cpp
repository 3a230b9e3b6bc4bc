#include "platform/path_spec.h"

#include <cwchar>

namespace platform {

bool RemoveFileSpec(wchar_t* path) noexcept {
    if (!path || path[0] == L'\0') {
        return false;
    }
    wchar_t* last = std::wcsrchr(path, L'/');
    if (!last) {
        path[0] = L'\0';
        return true;
    }
    if (last == path) {
        // Keep the root; "/" alone has nothing to cut.
        if (path[1] == L'\0') {
            return false;
        }
        path[1] = L'\0';
        return true;
    }
    *last = L'\0';
    return true;
}

wchar_t* AddBackslash(wchar_t* path, std::size_t size) noexcept {
    if (!path) {
        return nullptr;
    }
    std::size_t length = std::wcslen(path);
    if (length == 0 || path[length - 1] == L'/') {
        return path + length;
    }
    if (length + 2 > size) {
        return nullptr;
    }
    path[length] = L'/';
    path[length + 1] = L'\0';
    return path + length + 1;
}

} // namespace platform
