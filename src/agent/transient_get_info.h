// GetInfo: the account's e-mail from the cloud, through a transient agent that lives for one call,
// behind the module's flat export of that name.
//
// Contract: reads the signed-in user through the node control tool; without one, false and no
// request. Otherwise asks "nexilo/user_info" "getInfo" with nexilo_source {user_token, device_id,
// app_id} and sets `email` from the reply's "email" (empty when it has none). False, with the
// reason logged, for a failed call and for an error reply other than a text or null; such an
// error passes and is read as if it were the result, so a reply that is not a dictionary, or an
// "email" that is not a text, throws cv::ValueException. The transient agent gives back exactly
// the use of the cloud library it took: a library that could not be loaded costs nothing, and a
// later call loads it once it is back. Blocks for the node tool and the cloud round trip; any
// thread.
#pragma once

#include "agent/agent_environment.h"
#include "nexilo/cv_string.h"

bool TransientGetInfo(const AgentEnvironment& environment, cv::StringW& email,
                      const cv::StringW& appId);
