// Readable text for the Windows error numbers that the seam and the system report.
//
// Windows: the system's message table (FormatMessageA), kept as the system gives it, line end
// included. POSIX: a text of our own for each number this code base passes (see error_codes.h),
// also when wrapped in an HRESULT of the Win32 facility. Either way std::nullopt for a number
// without text. Thread-safe; allocates.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

[[nodiscard]] std::optional<std::string> SystemErrorText(std::int32_t code);

} // namespace platform
