// What the emulator shows of its timeline: the JSON at /inspect and the read-only page at /,
// which loads that JSON, draws the agent's day as a timeline and refreshes itself.
//
// /inspect answers {"entries": [{"seq", "time_ms", "kind", "subject", "detail"}...], "last_seq"}
// with the entries after `after`, oldest first, at most `limit` of them; "detail" is the
// entry's JSON object. A caller pages on with after=last_seq.
#pragma once

#include "devkit/cloud/store.h"

#include <cstdint>
#include <string>

namespace devkit::cloud {

inline constexpr std::size_t kInspectPageSize = 500;

std::string InspectJson(const Store& store, std::int64_t after, std::size_t limit);

// The page's HTML; it reads /inspect from the server that served it.
const std::string& InspectPage();

} // namespace devkit::cloud
