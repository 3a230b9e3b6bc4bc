// Conversions between the value tree and the JSON handle, made for this system's data rather
// than for round trips.
//
// Contract (deliberately lossy):
// - ValueFromJson: null, bool and reals carry over; a JSON integer becomes the number of its low
//   32 bits read as signed (4294967297 gives 1); a string ends at its first NUL; an object's
//   keys are inserted in byte order of their UTF-8 form, so the text's own order is lost; an
//   empty array stays an empty array; a handle without a root gives null.
// - ValueToJson: every number becomes a JSON integer, truncated toward zero (a fraction is lost;
//   NaN and numbers outside the 64-bit range give the smallest 64-bit integer); no JSON real is
//   ever made. A string ends at its first NUL. Dictionary pairs keep insertion order; a pair
//   whose key or value the JSON library refuses is dropped without notice.
// - Neither throws on kinds. Threads: none; both sides belong to the calling thread.
#pragma once

#include "foundation/json.h"
#include "nexilo/cv_value.h"

namespace cv {

Value ValueFromJson(const Json& json);
Json ValueToJson(const Value& value);

} // namespace cv
