// Where a test finds the programs and modules of its build: NEXILO_TEST_BIN, or else the folder
// of the running test program (all of a build lands in bin/). For tests only.
#pragma once

#include "platform/build_config.h"
#include "platform/module_path.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace platform_testing {

inline std::filesystem::path TestBinFolder() {
    const char* bin = std::getenv("NEXILO_TEST_BIN");
    std::filesystem::path folder =
        bin && *bin ? std::filesystem::path(bin)
                    : std::filesystem::path(platform::GetExecutablePath().path).parent_path();
    // Wine: the variable holds a Unix path; absolute() gives it a drive letter.
    return std::filesystem::absolute(folder).make_preferred();
}

// The file name of a program of the build, "name.exe" on Windows.
inline std::filesystem::path TestProgram(const std::string& name) {
#if defined(NEXILO_OS_WIN)
    return TestBinFolder() / (name + ".exe");
#else
    return TestBinFolder() / name;
#endif
}

} // namespace platform_testing
