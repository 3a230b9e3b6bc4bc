// Loading shared modules by the product's names, finding their exports, and the paths of the
// executable and of the module that contains the calling code.
//
// Names: the product names a module as on Windows ("hostcore.dll"). On POSIX a trailing ".dll"
// becomes ".so", with no "lib" prefix (SystemModuleName). Search rules, one function each:
// - LoadModule: a bare or relative name is looked for in the executable's folder first, then
//   the system's own way (LoadLibraryW, dlopen's search); a full path is loaded as it stands.
// - LoadModuleBesideExecutableOrSelf: a relative name is loaded from the executable's folder,
//   then from the folder of the module that contains the calling code, and nowhere else; a full
//   path is loaded as it stands.
// - AcquireLoadedModule: only a module of that file name already in the process (one more
//   reference on it), never a load from disk.
// - LoadModuleFile: exactly the given full path.
// Full paths load on Windows with LoadLibraryExW and LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR |
// LOAD_LIBRARY_SEARCH_DEFAULT_DIRS where the system has SetDefaultDllDirectories, otherwise
// LOAD_WITH_ALTERED_SEARCH_PATH, so a module's own dependencies beside it are found. POSIX
// loads with dlopen(RTLD_NOW | RTLD_LOCAL): every symbol bound at load, none made global.
//
// Errors are Windows numbers on every system: 126 (kErrorModNotFound) when the module cannot be
// found or loaded, 127 (kErrorProcNotFound) for a missing export. On Windows the number is the
// system's last error, which may be another one. Every function is thread-safe. A handle is a
// reference count on the module; the module stays mapped until its last reference is freed.
//
// "This module" is the own module of module_path.h: the module into which this static library
// was linked (the executable for a test program).
#pragma once

#include "platform/error_codes.h"
#include "platform/unique_resource.h"

#include <string>
#include <string_view>

namespace platform {

using ModuleHandle = void*;

struct ModuleTraits {
    using Type = ModuleHandle;
    static constexpr ModuleHandle Invalid() noexcept { return nullptr; }
    static void Close(ModuleHandle module) noexcept;
};
using UniqueHModule = UniqueResource<ModuleTraits>;

struct [[nodiscard]] ModuleResult {
    UniqueHModule module;
    ErrorCode error = kErrorSuccess;
};

struct [[nodiscard]] ExportResult {
    void* address = nullptr;
    ErrorCode error = kErrorSuccess;
};

// "X.dll" as the system names the file: unchanged on Windows, "X.so" on POSIX.
std::wstring SystemModuleName(std::wstring_view name);

// True when `path` names no root: no drive, no leading separator.
bool IsRelativePath(std::wstring_view path) noexcept;

// `folder` and `name` with exactly one separator between them.
std::wstring JoinPath(std::wstring_view folder, std::wstring_view name);

ModuleResult LoadModuleFile(std::wstring_view fullPath);
ModuleResult LoadModule(std::wstring_view name);
ModuleResult LoadModuleBesideExecutableOrSelf(std::wstring_view name);
ModuleResult AcquireLoadedModule(std::wstring_view name);
// Only the system's own search (LoadLibraryW, dlopen) for a bare name.
ModuleResult LoadModuleBySystemSearch(std::wstring_view name);

// The address of the export `name` of `module` (a C name, undecorated).
ExportResult FindExport(ModuleHandle module, const char* name);

// The path without its last component and without a trailing separator.
std::wstring ParentFolder(std::wstring_view path);

// Keeps this module mapped until the process ends, whatever references are freed later. For a
// module whose own thread may outlive its last reference. False when the system refused.
bool PinThisModule() noexcept;

// An identifier of this module that stays the same while it is loaded: its HMODULE on
// Windows, its load address on POSIX. Never null.
const void* ThisModuleId() noexcept;

} // namespace platform
