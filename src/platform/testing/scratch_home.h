// A fresh dev kit home for one test: a temporary folder that NEXILO_DEVKIT_HOME names while the
// object lives, where the dev kit's stand-ins (cloud library, node tool, host) keep their state.
// For tests that run those stand-ins; one at a time, as it sets a process-wide variable.
#pragma once

#include "platform/environment.h"
#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"

#include <filesystem>
#include <string>

namespace platform_testing {

class ScratchHome {
public:
    ScratchHome() {
        platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", m_dir.Path().wstring().c_str());
    }
    ~ScratchHome() { platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", nullptr); }
    ScratchHome(const ScratchHome&) = delete;
    ScratchHome& operator=(const ScratchHome&) = delete;

    const std::filesystem::path& Path() const { return m_dir.Path(); }
    // The wide form of a path inside the home (see TempDir::File).
    std::wstring File(const std::wstring& name) const { return m_dir.File(name); }

    // Writes `text` to the file at `relative`, creating its folders.
    void Write(const std::filesystem::path& relative, const std::string& text) const {
        WriteFile(Path() / relative, text);
    }
    // The file's bytes; empty when it cannot be read.
    std::string Read(const std::filesystem::path& relative) const {
        return ReadFile(Path() / relative);
    }

private:
    TempDir m_dir;
};

} // namespace platform_testing
