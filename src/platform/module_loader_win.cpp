#include "platform/module_loader.h"

#include "platform/win/windows_include.h"

#include <string>

namespace platform {
namespace {

constexpr char kAnchor = 0;

DWORD FullPathLoadFlags() noexcept {
    // Without SetDefaultDllDirectories (Windows 7 before KB2533623) the newer search flags are
    // refused, and the altered search path is the nearest equivalent.
    static const DWORD flags = [] {
        HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
        bool modern =
            kernel != nullptr && GetProcAddress(kernel, "SetDefaultDllDirectories") != nullptr;
        return modern ? DWORD{LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS}
                      : DWORD{LOAD_WITH_ALTERED_SEARCH_PATH};
    }();
    return flags;
}

ModuleResult Finish(HMODULE module) {
    ModuleResult result;
    if (module == nullptr) {
        result.error = GetLastError();
    }
    result.module.reset(module);
    return result;
}

HMODULE ThisModuleHandle() noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&kAnchor), &module);
    return module;
}

} // namespace

void ModuleTraits::Close(ModuleHandle module) noexcept {
    FreeLibrary(static_cast<HMODULE>(module));
}

ModuleResult LoadModuleFile(std::wstring_view fullPath) {
    std::wstring path(fullPath);
    return Finish(LoadLibraryExW(path.c_str(), nullptr, FullPathLoadFlags()));
}

ModuleResult LoadModuleBySystemSearch(std::wstring_view name) {
    std::wstring text(name);
    return Finish(LoadLibraryW(text.c_str()));
}

ModuleResult AcquireLoadedModule(std::wstring_view name) {
    std::wstring text(name);
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(0, text.c_str(), &module)) {
        module = nullptr;
    }
    return Finish(module);
}

ExportResult FindExport(ModuleHandle module, const char* name) {
    ExportResult result;
    if (module == nullptr || name == nullptr) {
        result.error = kErrorInvalidHandle;
        return result;
    }
    FARPROC address = GetProcAddress(static_cast<HMODULE>(module), name);
    if (address == nullptr) {
        result.error = GetLastError();
        return result;
    }
    result.address = reinterpret_cast<void*>(address);
    return result;
}

bool PinThisModule() noexcept {
    HMODULE module = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                  GET_MODULE_HANDLE_EX_FLAG_PIN,
                              reinterpret_cast<LPCWSTR>(&kAnchor), &module) != FALSE;
}

const void* ThisModuleId() noexcept {
    HMODULE module = ThisModuleHandle();
    return module != nullptr ? static_cast<const void*>(module) : &kAnchor;
}

} // namespace platform
