// Paths of the module file that holds this code and of the process's executable.
//
// Contract: "own module" is the loaded module file whose code contains this function: the agent's
// shared module in the product, the test executable in a unit test. Paths are full paths in the
// system's form (drive and '\' on Windows, '/' on POSIX; POSIX names are read as UTF-8). On POSIX
// they are gathered into heap buffers sized for the system's path limit, so deep folders past 260
// characters work. Thread-safe.
#pragma once

#include "platform/error_codes.h"

#include <cstdint>
#include <string>

namespace platform {

struct PathResult {
    std::wstring path; // empty on failure
    ErrorCode error = kErrorSuccess;
};

[[nodiscard]] PathResult GetOwnModulePath();
[[nodiscard]] PathResult GetExecutablePath();

// The own module's path with GetModuleFileNameW's contract: writes at most `size` characters
// including the terminator; returns the characters written without the terminator, or `size`
// when the path was cut (the buffer then holds the first size - 1 characters and a zero), or 0 on
// failure.
std::uint32_t GetOwnModuleFileName(wchar_t* buffer, std::uint32_t size) noexcept;

} // namespace platform
