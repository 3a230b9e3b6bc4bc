#include "devkit/common/error_message.h"

#include "platform/error_text.h"

namespace devkit {

std::string DescribeError(std::uint32_t code) {
    std::string text = "error " + std::to_string(code);
    if (auto system = platform::SystemErrorText(static_cast<std::int32_t>(code))) {
        while (!system->empty() && (system->back() == '\n' || system->back() == '\r')) {
            system->pop_back();
        }
        text += " (" + *system + ")";
    }
    return text;
}

} // namespace devkit
