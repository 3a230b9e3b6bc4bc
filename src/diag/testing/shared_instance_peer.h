// Test access to a shared-instance holder's second count, which nothing in the product raises.
#pragma once

#include "diag/shared_instance.h"

namespace diag_testing {

class SharedInstancePeer {
public:
    template <class T>
    static void SetSecondCount(diag::SharedInstanceHolder<T>& holder, std::int32_t value) {
        holder.Lock();
        holder.m_secondCount.store(value, std::memory_order_relaxed);
        holder.PublishHolders();
        holder.Unlock();
    }
};

} // namespace diag_testing
