#include "platform/registry_sandbox.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace platform {

RegistrySandbox::RegistrySandbox() {
    std::error_code error;
    std::filesystem::path base = std::filesystem::temp_directory_path(error);
    if (error) {
        m_error = MapErrno(error.value());
        return;
    }
    std::string pattern = (base / "nexilo-registry-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        m_error = MapErrno(errno);
        return;
    }
    m_folder = pattern;
    m_registry = MakeFileRegistry(m_folder);
}

RegistrySandbox::~RegistrySandbox() {
    if (!m_folder.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
}

} // namespace platform
