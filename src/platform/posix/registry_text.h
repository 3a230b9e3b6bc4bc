// The text form of one registry root, as the POSIX registry stores it in a file: parse and print.
//
// The first line is the header "nexilo-registry 1". Each further line is one record, so a damaged
// line costs only itself:
//   K <tab> key path
//   V <tab> key path <tab> value name <tab> form <tab> data
// Key paths join names with '\'. Names and strings are UTF-8 with '%', control characters and
// lone surrogates written as %XX (a lone surrogate as the three bytes of its generalized UTF-8
// form), so every sequence of UTF-16 units survives. Forms: sz, expand_sz, multi_sz (the units
// without the last terminator), dword and qword (decimal), hex:<type> (any other bytes, and
// string data without its terminator). Lines may end in CR LF.
//
// Parsing never fails: a text that does not start with the header is foreign and yields nothing;
// lines that are not records, and a last line without its line end (a write cut short), are
// left out and mark the text damaged. Printing writes every key and value of a tree, so
// ParseRegistryText(PrintRegistryText(tree)) gives the tree back and printing that again gives
// the same text. Pure functions; thread-safe.
#pragma once

#include "platform/posix/registry_tree.h"

#include <string>
#include <string_view>

namespace platform::posix {

inline constexpr std::string_view kRegistryTextHeader = "nexilo-registry 1";

enum class RegistryTextState {
    kClean,   // every line was read (also an empty text)
    kDamaged, // some lines could not be read and were left out
    kForeign, // not a registry text: nothing was read
};

struct ParsedRegistryText {
    RegistryNode top;
    RegistryTextState state = RegistryTextState::kClean;
};

ParsedRegistryText ParseRegistryText(std::string_view text);

std::string PrintRegistryText(const RegistryNode& top);

} // namespace platform::posix
