// A module of the build loaded for a test, with its exports looked up by name. For the dev kit's
// tests only; not thread-safe.
#pragma once

#include "platform/module_loader.h"
#include "platform/testing/test_bin.h"

#include <filesystem>
#include <string>

namespace devkit_testing {

class ModuleExports {
public:
    // `name` as the product names it ("cvzc.dll"), from `folder` under the build's bin/.
    explicit ModuleExports(const wchar_t* name, const std::filesystem::path& folder = {})
        : m_loaded(platform::LoadModuleFile(
              platform::JoinPath((platform_testing::TestBinFolder() / folder).wstring(),
                                 platform::SystemModuleName(name)))) {}

    // The export, or null when it is missing (its name then joins Missing()).
    template <class Fn>
    Fn Find(const char* name) {
        void* address = platform::FindExport(m_loaded.module.get(), name).address;
        if (address == nullptr) {
            m_missing += std::string(m_missing.empty() ? "missing:" : "") + " " + name;
        }
        return reinterpret_cast<Fn>(address);
    }

    // Empty when the module loaded and every export asked for was found.
    std::string Missing() const {
        return m_loaded.module ? m_missing : "load error " + std::to_string(m_loaded.error);
    }
    platform::ModuleHandle Handle() const { return m_loaded.module.get(); }

private:
    platform::ModuleResult m_loaded;
    std::string m_missing;
};

} // namespace devkit_testing
