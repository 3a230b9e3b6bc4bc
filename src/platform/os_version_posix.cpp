#include "platform/os_version.h"

#include <sys/utsname.h>

namespace platform {

std::optional<OsVersion> GetOsVersion() {
    utsname names{};
    if (::uname(&names) != 0) {
        return std::nullopt;
    }
    return ParseKernelRelease(names.release);
}

} // namespace platform
