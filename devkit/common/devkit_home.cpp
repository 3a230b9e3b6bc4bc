#include "devkit/common/devkit_home.h"

#include "platform/build_config.h"
#include "platform/environment.h"
#include "platform/utf8.h"

#include <fstream>
#include <mutex>
#include <sstream>

namespace devkit {

namespace {

std::filesystem::path FromEnvironment(const wchar_t* name) {
    auto value = platform::ReadEnvironmentVariable(name);
    if (!value || value->empty()) {
        return {};
    }
#if defined(NEXILO_OS_WIN)
    return std::filesystem::path(*value);
#else
    // POSIX paths are bytes; going through UTF-8 avoids libstdc++'s locale-bound conversion.
    return std::filesystem::path(platform::WideToUtf8(*value));
#endif
}

} // namespace

std::filesystem::path DevkitHome() {
    if (auto home = FromEnvironment(L"NEXILO_DEVKIT_HOME"); !home.empty()) {
        return home;
    }
#if defined(NEXILO_OS_WIN)
    auto user = FromEnvironment(L"USERPROFILE");
#else
    auto user = FromEnvironment(L"HOME");
#endif
    return (user.empty() ? std::filesystem::current_path() : user) / ".nexilo-devkit";
}

bool AppendLine(const std::filesystem::path& file, const std::string& line) {
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    std::ofstream out(file, std::ios::binary | std::ios::app);
    out << line << '\n';
    out.flush();
    return static_cast<bool>(out);
}

bool ReadWholeFile(const std::filesystem::path& file, std::string& content) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return false;
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    content = std::move(buffer).str();
    return !in.bad();
}

} // namespace devkit
