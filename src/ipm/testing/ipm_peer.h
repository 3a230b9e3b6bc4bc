// Test access to Ipm's push client, to register a topic as another module of the product would.
#pragma once

#include "ipm/ipm.h"

namespace ipm_testing {

class IpmPeer {
public:
    static nxp::NexiloPush* Push(Ipm& ipm) { return ipm.m_push.get(); }
};

} // namespace ipm_testing
