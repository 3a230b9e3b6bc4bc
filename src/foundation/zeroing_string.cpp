#include "foundation/zeroing_string.h"

#include <atomic>

namespace szm {
namespace {

std::atomic<ScrubObserver> g_observer{nullptr};

} // namespace

void detail::Scrub(void* block, std::size_t size) noexcept {
    // Volatile stores are observable behaviour, so the optimiser may not drop them even though
    // the block is freed right after.
    volatile unsigned char* bytes = static_cast<volatile unsigned char*>(block);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = 0;
    }
    if (ScrubObserver observer = g_observer.load(std::memory_order_acquire)) {
        observer(block, size);
    }
}

void SetScrubObserverForTesting(ScrubObserver observer) noexcept {
    g_observer.store(observer, std::memory_order_release);
}

} // namespace szm
