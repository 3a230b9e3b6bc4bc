// The small document files of the system: cv::Value to and from YAML through libyaml's document
// tree, with an atomic save.
//
// Contract:
// - The mapping serves this system's data and is not a general YAML round trip. Written: null as
//   an empty plain scalar, bools as plain true/false, numbers as plain fixed text with six
//   decimals, strings and every mapping key double-quoted (non-ASCII escaped), arrays and
//   dictionaries in order. Read: quoted scalars are strings; a plain scalar is null ("" or "null"),
//   a bool ("true", "false"), a number (a whole C integer literal in base 10, 8 or 16, clamped to
//   the 32-bit range, else a whole C floating literal) or else a string. Tags are ignored. Number
//   text never depends on the process locale.
// - LoadYamlFile returns null on every failure and never throws. Only a syntax error writes the
//   thread's last parse error, "parsing error at line<line>,<column>,<problem>"; nothing clears
//   it. A document nested deeper than kMaxYamlDepth or expanding (through aliases) to more than
//   kMaxYamlNodes values is refused the same way, with a text of its own.
// - SaveYamlFile writes `path` + ".temp", forces it to the disk and renames it over `path` in one
//   step; true only when the new file stands under `path`. Whatever happens, an older file at
//   `path` is either untouched or wholly replaced. After a failure from the writing on, the
//   temporary file stays behind until a later save truncates it.
// - Threads: the functions share no data; the last parse error is per thread. Two savers of one
//   path race on the temporary file; callers hold their own lock.
// - Per system: the file is opened in text mode, so lines end in CR LF on Windows and LF elsewhere.
#pragma once

#include "nexilo/cv_value.h"

#include <yaml.h>

#include <cstddef>
#include <cstdint>

namespace cv {

inline constexpr std::size_t kMaxYamlDepth = 256;
inline constexpr std::size_t kMaxYamlNodes = 100000;
inline constexpr std::size_t kLastParseErrorSize = 4096;

// Adds the nodes of `value` to `document`; returns the index of the top node, 0 on failure (out
// of memory, or nested deeper than kMaxYamlDepth).
u32 ValueToYamlNode(yaml_document_t* document, const Value& value);

// The value of `node` and everything below it. A null node gives null; so do the parts past the
// limits above, and a mapping pair whose key is not a scalar is left out.
Value ValueFromYamlNode(yaml_document_t* document, yaml_node_t* node);

Value LoadYamlFile(const wchar_t* path);
bool SaveYamlFile(const Value& value, const wchar_t* path);

// The thread's last parse error, empty until the first failed parse; for logging.
const wchar_t* GetLastParseError();

} // namespace cv
