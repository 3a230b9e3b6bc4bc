// Where the dev kit's event collector stand-in hands the events it would submit: a JSON object
// with a non-empty string "name" (the event's name) and whatever else the event carries
// ("version", "app_id", "fields" and so on, kept as they are). Each accepted event goes into the
// timeline as an "event" entry.
#pragma once

#include "devkit/cloud/store.h"

#include <cstdint>
#include <string>

namespace devkit::cloud {

// The timeline entry's seq, or 0 with a readable `error` when the body is no event or could not
// be recorded.
std::int64_t AcceptTelemetry(Store& store, const std::string& body, std::string& error);

} // namespace devkit::cloud
