// Reading the identity triple out of a source document (an object with the strings user_token,
// app_id and device_id) into its sealed form, for the cloud clients' Init.
//
// Each text is taken up to its first NUL, as C would read it. The clear copies made on the way
// are scrubbed; on failure the identity is left as it was. Not synchronised: the caller guards
// the identity.
#pragma once

#include "foundation/json.h"
#include "foundation/protected_string.h"

namespace cloud {

enum class SourceOutcome {
    Sealed,
    NoDocument, // the handle holds no tree
    Invalid,    // a member is missing or not a string, or an allocation failed
};

SourceOutcome SealIdentitySource(const cv::Json& source, cpm::ProtectedIdentity& identity);

} // namespace cloud
