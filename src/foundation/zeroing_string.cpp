#include "foundation/zeroing_string.h"

namespace szm {

void detail::Scrub(void* block, std::size_t size) noexcept {
    // Volatile stores are observable behaviour, so the optimiser may not drop them even though
    // the block is freed right after.
    volatile unsigned char* bytes = static_cast<volatile unsigned char*>(block);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = 0;
    }
}

} // namespace szm
