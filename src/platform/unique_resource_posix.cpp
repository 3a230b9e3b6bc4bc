#include "platform/unique_resource.h"

#include <cerrno>
#include <unistd.h>

namespace platform {

LastErrorKeeper::LastErrorKeeper() noexcept : m_errno(errno) {}

LastErrorKeeper::~LastErrorKeeper() {
    errno = m_errno;
}

void FdTraits::Close(int fd) noexcept {
    // Linux releases the descriptor even when close reports EINTR; retrying could close a
    // descriptor that another thread has opened meanwhile.
    ::close(fd);
}

} // namespace platform
