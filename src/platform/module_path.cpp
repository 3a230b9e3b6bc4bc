#include "platform/module_path.h"

#include <cwchar>

namespace platform {

std::uint32_t GetOwnModuleFileName(wchar_t* buffer, std::uint32_t size) noexcept {
    if (!buffer || size == 0) {
        return 0;
    }
    PathResult result;
    try {
        result = GetOwnModulePath();
    } catch (...) {
        return 0;
    }
    if (result.path.empty()) {
        return 0;
    }
    if (result.path.size() >= size) {
        std::wmemcpy(buffer, result.path.data(), size - 1);
        buffer[size - 1] = L'\0';
        return size;
    }
    std::wmemcpy(buffer, result.path.data(), result.path.size());
    buffer[result.path.size()] = L'\0';
    return static_cast<std::uint32_t>(result.path.size());
}

} // namespace platform
