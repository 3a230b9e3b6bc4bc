// Test access to a request processor's stop flag, read under its queue lock.
#pragma once

#include "cloud/request_processor.h"

#include <mutex>

namespace nxp {

class RequestProcessorPeer {
public:
    static bool StopRequested(RequestProcessor& processor) {
        std::lock_guard lock(processor.m_queueLock);
        return processor.m_stopRequested;
    }
};

} // namespace nxp
