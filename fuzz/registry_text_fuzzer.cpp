// Arbitrary bytes as a registry store file: parse, print, parse again. Beyond staying clean under
// the sanitizers, whatever was read must print as a text that parses clean and prints the same
// again, so a rewritten store never loses what it could read.
#include "platform/posix/registry_text.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace platform::posix;
    const ParsedRegistryText first =
        ParseRegistryText(std::string_view(reinterpret_cast<const char*>(data), size));
    const std::string printed = PrintRegistryText(first.top);
    const ParsedRegistryText second = ParseRegistryText(printed);
    if (second.state != RegistryTextState::kClean || PrintRegistryText(second.top) != printed) {
        __builtin_trap();
    }
    return 0;
}
