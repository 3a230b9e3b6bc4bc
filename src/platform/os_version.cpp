#include "platform/os_version.h"

#include <charconv>

namespace platform {

namespace {

// Reads a decimal number at the start of `text` and moves past it.
bool TakeNumber(std::string_view& text, std::uint32_t& number) {
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop == text.data()) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return true;
}

bool TakeDot(std::string_view& text) {
    if (text.empty() || text.front() != '.') {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

} // namespace

std::optional<OsVersion> ParseKernelRelease(std::string_view release) {
    OsVersion version;
    if (!TakeNumber(release, version.major) || !TakeDot(release) ||
        !TakeNumber(release, version.minor)) {
        return std::nullopt;
    }
    if (std::string_view rest = release;
        TakeDot(rest) && !rest.empty() && rest.front() >= '0' && rest.front() <= '9') {
        if (!TakeNumber(rest, version.build)) {
            return std::nullopt;
        }
    }
    return version;
}

} // namespace platform
