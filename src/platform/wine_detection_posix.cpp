#include "platform/wine_detection.h"

namespace platform {

bool RunningUnderWine() noexcept {
    return false;
}

} // namespace platform
