// The process's environment variables, by wide name and value.
//
// Windows: the process environment block (GetEnvironmentVariableW/SetEnvironmentVariableW),
// which every module of the process shares. POSIX: getenv/setenv/unsetenv with UTF-8 text.
// Reads are safe alongside reads; a write must not race with any other access (the C runtime
// gives no guarantee there), so write only at start-up or in tests.
#pragma once

#include <optional>
#include <string>

namespace platform {

// The value, or nullopt when the variable is not set.
std::optional<std::wstring> ReadEnvironmentVariable(const wchar_t* name);
// Sets the variable; a null `value` removes it. False on failure.
bool WriteEnvironmentVariable(const wchar_t* name, const wchar_t* value);

} // namespace platform
