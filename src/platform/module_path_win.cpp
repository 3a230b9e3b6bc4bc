#include "platform/module_path.h"

#include "platform/win/windows_include.h"

#include <vector>

namespace platform {

namespace {

// The address whose module we look for.
void Anchor() {}

HMODULE OwnModule() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&Anchor), &module)) {
        return nullptr;
    }
    return module;
}

PathResult ModulePath(HMODULE module) {
    // Long-path builds may pass MAX_PATH; the system's limit is 32767 characters.
    std::vector<wchar_t> buffer(MAX_PATH + 1);
    for (;;) {
        DWORD size = static_cast<DWORD>(buffer.size());
        DWORD length = GetModuleFileNameW(module, buffer.data(), size);
        if (length == 0) {
            return {{}, GetLastError()};
        }
        if (length < size) {
            return {std::wstring(buffer.data(), length), kErrorSuccess};
        }
        if (buffer.size() > 32768) {
            return {{}, kErrorInsufficientBuffer};
        }
        buffer.resize(buffer.size() * 2);
    }
}

} // namespace

PathResult GetOwnModulePath() {
    HMODULE module = OwnModule();
    if (!module) {
        return {{}, GetLastError()};
    }
    return ModulePath(module);
}

PathResult GetExecutablePath() {
    return ModulePath(nullptr);
}

} // namespace platform
