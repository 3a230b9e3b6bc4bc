#include "devkit/host/host_paths.h"

#include "platform/build_config.h"
#include "platform/utf8.h"

namespace devkit::host {

std::filesystem::path HostFolder(const std::filesystem::path& home) {
    return home / "host";
}

std::filesystem::path SettingsFile(const std::filesystem::path& home) {
    return HostFolder(home) / "settings.json";
}

std::filesystem::path ProductInfoFile(const std::filesystem::path& home) {
    return HostFolder(home) / "productinfo.json";
}

std::filesystem::path EventSinkRecordFile(const std::filesystem::path& home) {
    return HostFolder(home) / "evsink.jsonl";
}

std::wstring WidePath(const std::filesystem::path& path) {
#if defined(NEXILO_OS_WIN)
    return path.wstring();
#else
    return platform::Utf8ToWide(path.string());
#endif
}

std::filesystem::path PathFromWide(const std::wstring& path) {
#if defined(NEXILO_OS_WIN)
    return std::filesystem::path(path);
#else
    return std::filesystem::path(platform::WideToUtf8(path));
#endif
}

std::string PathText(const std::filesystem::path& path) {
    return platform::WideToUtf8(WidePath(path));
}

} // namespace devkit::host
