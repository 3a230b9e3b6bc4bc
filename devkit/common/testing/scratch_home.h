// A fresh dev kit home for one test: a temporary folder that NEXILO_DEVKIT_HOME names while the
// object lives, with helpers for the files in it. For the dev kit's tests only; one at a time.
#pragma once

#include "platform/environment.h"
#include "platform/testing/temp_dir.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace devkit_testing {

class ScratchHome {
public:
    ScratchHome() {
        platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", m_dir.Path().wstring().c_str());
    }
    ~ScratchHome() { platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", nullptr); }

    const std::filesystem::path& Path() const { return m_dir.Path(); }

    // Writes `text` to the file at `relative`, creating its folders.
    void Write(const std::filesystem::path& relative, const std::string& text) const {
        std::filesystem::create_directories((Path() / relative).parent_path());
        std::ofstream(Path() / relative, std::ios::binary) << text;
    }
    // The file's bytes; empty when it cannot be read.
    std::string Read(const std::filesystem::path& relative) const {
        std::ostringstream text;
        text << std::ifstream(Path() / relative, std::ios::binary).rdbuf();
        return text.str();
    }

private:
    platform::testing::TempDir m_dir;
};

} // namespace devkit_testing
