#include "platform/module_loader.h"

#include "platform/build_config.h"
#include "platform/module_path.h"

#include <cwctype>

namespace platform {
namespace {

#if defined(NEXILO_OS_WIN)
constexpr wchar_t kSeparator = L'\\';
bool IsSeparator(wchar_t c) noexcept {
    return c == L'\\' || c == L'/';
}
#else
constexpr wchar_t kSeparator = L'/';
bool IsSeparator(wchar_t c) noexcept {
    return c == L'/';
}
#endif

#if defined(NEXILO_OS_POSIX)
bool EndsWithNoCase(std::wstring_view text, std::wstring_view suffix) noexcept {
    if (text.size() < suffix.size()) {
        return false;
    }
    std::wstring_view tail = text.substr(text.size() - suffix.size());
    for (std::size_t i = 0; i < suffix.size(); ++i) {
        if (std::towlower(static_cast<wint_t>(tail[i])) != static_cast<wint_t>(suffix[i])) {
            return false;
        }
    }
    return true;
}
#endif

} // namespace

std::wstring SystemModuleName(std::wstring_view name) {
    std::wstring result(name);
#if defined(NEXILO_OS_POSIX)
    if (EndsWithNoCase(name, L".dll")) {
        result.replace(result.size() - 4, 4, L".so");
    }
#endif
    return result;
}

bool IsRelativePath(std::wstring_view path) noexcept {
    if (path.empty()) {
        return true;
    }
    if (IsSeparator(path[0])) {
        return false;
    }
#if defined(NEXILO_OS_WIN)
    if (path.size() >= 2 && path[1] == L':') {
        return false;
    }
#endif
    return true;
}

std::wstring JoinPath(std::wstring_view folder, std::wstring_view name) {
    std::wstring result(folder);
    while (!name.empty() && IsSeparator(name.front())) {
        name.remove_prefix(1);
    }
    if (!result.empty() && !IsSeparator(result.back())) {
        result += kSeparator;
    }
    result += name;
    return result;
}

std::wstring ParentFolder(std::wstring_view path) {
    std::size_t end = path.size();
    while (end > 0 && !IsSeparator(path[end - 1])) {
        --end;
    }
    // Keep a root ("/", "C:\") whole; drop any other trailing separators.
    std::size_t keep = end;
    while (keep > 1 && IsSeparator(path[keep - 1]) && !(keep == 3 && path[1] == L':')) {
        --keep;
    }
    return std::wstring(path.substr(0, keep));
}

ModuleResult LoadModule(std::wstring_view name) {
    std::wstring fileName = SystemModuleName(name);
    if (!IsRelativePath(fileName)) {
        return LoadModuleFile(fileName);
    }
    std::wstring exe = GetExecutablePath().path;
    if (!exe.empty()) {
        ModuleResult beside = LoadModuleFile(JoinPath(ParentFolder(exe), fileName));
        if (beside.module) {
            return beside;
        }
    }
    return LoadModuleBySystemSearch(fileName);
}

ModuleResult LoadModuleBesideExecutableOrSelf(std::wstring_view name) {
    std::wstring fileName = SystemModuleName(name);
    if (!IsRelativePath(fileName)) {
        return LoadModuleFile(fileName);
    }
    ModuleResult result;
    result.error = kErrorModNotFound;
    for (const std::wstring& owner : {GetExecutablePath().path, GetOwnModulePath().path}) {
        if (owner.empty()) {
            continue;
        }
        result = LoadModuleFile(JoinPath(ParentFolder(owner), fileName));
        if (result.module) {
            break;
        }
    }
    return result;
}

} // namespace platform
