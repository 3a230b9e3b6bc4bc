#include "platform/module_loader.h"

#include "platform/utf8.h"

#include <dlfcn.h>
#include <link.h>
#include <string>
#include <unistd.h>

namespace platform {
namespace {

constexpr char kAnchor = 0;

ModuleResult Open(const std::string& path, int extraFlags) {
    ModuleResult result;
    if (path.empty()) {
        result.error = kErrorModNotFound;
        return result;
    }
    result.module.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | extraFlags));
    if (!result.module) {
        result.error = kErrorModNotFound;
    }
    return result;
}

struct ObjectSearch {
    std::string fileName;
    bool found = false;
    std::string path;
};

std::string_view BaseName(std::string_view path) {
    std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

int VisitObject(dl_phdr_info* info, std::size_t, void* context) {
    auto* search = static_cast<ObjectSearch*>(context);
    const char* name = info->dlpi_name != nullptr ? info->dlpi_name : "";
    if (name[0] != 0 && BaseName(name) == search->fileName) {
        search->found = true;
        search->path = name;
        return 1;
    }
    return 0;
}

} // namespace

void ModuleTraits::Close(ModuleHandle module) noexcept {
    dlclose(module);
}

ModuleResult LoadModuleFile(std::wstring_view fullPath) {
    return Open(WideToUtf8(SystemModuleName(fullPath)), 0);
}

ModuleResult LoadModuleBySystemSearch(std::wstring_view name) {
    return Open(WideToUtf8(SystemModuleName(name)), 0);
}

ModuleResult AcquireLoadedModule(std::wstring_view name) {
    std::string fileName = WideToUtf8(SystemModuleName(name));
    ObjectSearch search;
    if (!fileName.empty()) {
        search.fileName = std::string(BaseName(fileName));
        dl_iterate_phdr(VisitObject, &search);
    }
    if (!search.found) {
        ModuleResult result;
        result.error = kErrorModNotFound;
        return result;
    }
    // RTLD_NOLOAD takes a reference on the mapped object and never reads the disk.
    return Open(search.path, RTLD_NOLOAD);
}

ExportResult FindExport(ModuleHandle module, const char* name) {
    ExportResult result;
    if (module == nullptr || name == nullptr) {
        result.error = kErrorInvalidHandle;
        return result;
    }
    result.address = dlsym(module, name);
    if (result.address == nullptr) {
        result.error = kErrorProcNotFound;
    }
    return result;
}

bool PinThisModule() noexcept {
    Dl_info info{};
    if (dladdr(&kAnchor, &info) == 0 || info.dli_fname == nullptr) {
        return false;
    }
    // The reference taken here is never given back; RTLD_NODELETE keeps the code mapped even
    // if a caller frees more references than it took.
    return dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}

const void* ThisModuleId() noexcept {
    Dl_info info{};
    if (dladdr(&kAnchor, &info) != 0 && info.dli_fbase != nullptr) {
        return info.dli_fbase;
    }
    return &kAnchor;
}

} // namespace platform
