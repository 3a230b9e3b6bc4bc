// How the dev kit's programs name a system error number in their messages: "error 2 (File not
// found.)", the system's text without its line end, or "error N" alone when it has none.
#pragma once

#include <cstdint>
#include <string>

namespace devkit {

std::string DescribeError(std::uint32_t code);

} // namespace devkit
