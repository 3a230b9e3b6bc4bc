#include "foundation/error_category.h"

#include "platform/error_text.h"

namespace winapi::details {

std::string win_error_category::message(int code) const {
    try {
        if (std::optional<std::string> text = platform::SystemErrorText(code)) {
            return std::move(*text);
        }
    } catch (const std::bad_alloc&) {
    }
    return "unknown error"; // short enough for the string's inline buffer: no allocation
}

const win_error_category& WinErrorCategory() noexcept {
    static const win_error_category category;
    return category;
}

} // namespace winapi::details

namespace cv {
namespace {

std::string ComposeWhat(const std::error_code& code, const char* context) {
    std::string text = code.message();
    if (context == nullptr || *context == 0) {
        return text;
    }
    return std::string(context) + ": " + text;
}

} // namespace

PlatformError::PlatformError(std::int32_t code, const char* context)
    : std::system_error(std::error_code(code, winapi::details::WinErrorCategory()),
                        context != nullptr ? context : ""),
      m_text(ComposeWhat(this->code(), context)) {}

void ThrowPlatformError(std::int32_t code, const char* context) {
    throw PlatformError(code, context);
}

} // namespace cv
