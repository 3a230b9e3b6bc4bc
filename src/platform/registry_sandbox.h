// RegistrySandbox: a private, empty registry for one test (or one dev-kit run), removed afterwards.
//
// POSIX: a file-backed registry in a fresh folder under the temporary folder; the system's
// registry is not touched, so code under test must be handed Get() rather than reach for
// SystemRegistry(). Windows: HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER of this process are
// redirected (RegOverridePredefKey) into a new non-volatile key
// HKEY_CURRENT_USER\Software\NexiloTest-<GUID>, so SystemRegistry() and every registry call of
// the process land there; the redirection ends and the key is deleted when the sandbox goes
// away. The redirection applies to the whole process: one sandbox at a time, made and destroyed
// on one thread while no other thread uses the registry. Inside a Windows sandbox the 32-bit and
// 64-bit views are the same keys (measured under Wine), so view tests need the real registry.
#pragma once

#include "platform/build_config.h"
#include "platform/error_codes.h"
#include "platform/registry.h"

#include <filesystem>
#include <memory>
#include <string>

namespace platform {

class RegistrySandbox {
public:
    RegistrySandbox();
    ~RegistrySandbox();
    RegistrySandbox(const RegistrySandbox&) = delete;
    RegistrySandbox& operator=(const RegistrySandbox&) = delete;

    // 0 when the sandbox is in place; otherwise Get() must not be used.
    [[nodiscard]] ErrorCode Error() const noexcept { return m_error; }

    // The sandboxed registry, in the process's own view.
    Registry& Get() { return *m_registry; }

#if defined(NEXILO_OS_POSIX)
    // The folder of the file-backed registry, for a second instance over the same store.
    const std::filesystem::path& Folder() const noexcept {
        return m_folder;
    }
#else
    // The sandbox key's path under the real HKEY_CURRENT_USER.
    const std::wstring& KeyPath() const noexcept {
        return m_keyPath;
    }
#endif

private:
    ErrorCode m_error = kErrorSuccess;
    std::unique_ptr<Registry> m_registry;
#if defined(NEXILO_OS_POSIX)
    std::filesystem::path m_folder;
#else
    std::wstring m_keyPath;
    void* m_machineKey = nullptr;
    void* m_userKey = nullptr;
#endif
};

} // namespace platform
