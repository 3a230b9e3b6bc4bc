#include "platform/error_text.h"

#include "platform/win/windows_include.h"

namespace platform {

std::optional<std::string> SystemErrorText(std::int32_t code) {
    char* buffer = nullptr;
    DWORD length = ::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
        nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    if (length == 0 || buffer == nullptr) {
        return std::nullopt;
    }
    std::optional<std::string> text;
    try {
        text.emplace(buffer, length);
    } catch (...) {
    }
    ::LocalFree(buffer);
    return text;
}

} // namespace platform
