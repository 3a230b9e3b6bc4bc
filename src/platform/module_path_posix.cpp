#include "platform/module_path.h"

#include "platform/build_config.h"
#include "platform/utf8.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {

// The address whose module we look for.
void Anchor() {}

PathResult FromUtf8Path(const char* path) {
    std::wstring wide = Utf8ToWide(path);
    if (wide.empty()) {
        return {{}, kErrorGenFailure};
    }
    return {std::move(wide), kErrorSuccess};
}

} // namespace

PathResult GetExecutablePath() {
#if defined(NEXILO_OS_LINUX)
    std::vector<char> buffer(PATH_MAX + 1);
    for (;;) {
        ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0) {
            return {{}, MapErrno(errno)};
        }
        if (static_cast<std::size_t>(length) < buffer.size()) {
            buffer[static_cast<std::size_t>(length)] = '\0';
            return FromUtf8Path(buffer.data());
        }
        buffer.resize(buffer.size() * 2);
    }
#else
    return {{}, kErrorNotSupported};
#endif
}

PathResult GetOwnModulePath() {
    Dl_info info{};
    link_map* map = nullptr;
    if (dladdr1(reinterpret_cast<void*>(&Anchor), &info, reinterpret_cast<void**>(&map),
                RTLD_DL_LINKMAP) == 0 ||
        !map) {
        return {{}, kErrorModNotFound};
    }
    // The main program's map has an empty name; dladdr would then report argv[0], which may be
    // relative to a folder we have left.
    if (!map->l_name || map->l_name[0] == '\0') {
        return GetExecutablePath();
    }
    std::unique_ptr<char, decltype(&std::free)> full(realpath(map->l_name, nullptr), &std::free);
    if (!full) {
        return {{}, MapErrno(errno)};
    }
    return FromUtf8Path(full.get());
}

} // namespace platform
