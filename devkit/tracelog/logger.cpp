#include "devkit/tracelog/logger.h"

#include "devkit/tracelog/line_format.h"
#include "nexilo/cv_string.h"
#include "platform/environment.h"
#include "platform/error_codes.h"
#include "platform/module_loader.h"
#include "platform/module_path.h"
#include "platform/monotonic_clock.h"
#include "platform/thread_id.h"
#include "platform/utf8.h"

#include <charconv>
#include <chrono>
#include <filesystem>
#include <optional>

namespace devkit::tracelog {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kSettingsCheckIntervalMs = 1000;

fs::path ToPath(const std::wstring& wide) {
    std::string utf8 = platform::WideToUtf8(wide);
    return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string Trim(std::string_view text) {
    std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos) {
        return {};
    }
    std::size_t end = text.find_last_not_of(" \t\r\n");
    return std::string(text.substr(begin, end - begin + 1));
}

std::optional<std::uint64_t> ParseSize(std::string_view text) {
    std::string trimmed = Trim(text);
    std::uint64_t value = 0;
    auto [end, error] = std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), value);
    if (trimmed.empty() || error != std::errc() || end != trimmed.data() + trimmed.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<bool> ParseBool(std::string_view text) {
    std::string trimmed = Trim(text);
    if (trimmed == "1" || trimmed == "true" || trimmed == "on" || trimmed == "yes") {
        return true;
    }
    if (trimmed == "0" || trimmed == "false" || trimmed == "off" || trimmed == "no") {
        return false;
    }
    return std::nullopt;
}

std::int64_t LastWriteStamp(const std::wstring& path) {
    std::error_code error;
    auto stamp = fs::last_write_time(ToPath(path), error);
    return error ? 0 : static_cast<std::int64_t>(stamp.time_since_epoch().count());
}

std::int64_t UnixMsNow() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string ToUtf8(const wchar_t* text) {
    return text != nullptr ? platform::WideToUtf8(text) : std::string();
}

} // namespace

Logger::Logger(std::wstring defaultFolder) : m_defaultFolder(std::move(defaultFolder)) {}

Logger::~Logger() {
    CloseLocked();
}

void Logger::Init() {
    std::lock_guard lock(m_mutex);
    if (m_initCount++ == 0) {
        LoadSettingsLocked();
    }
}

void Logger::Deinit() {
    std::lock_guard lock(m_mutex);
    if (m_initCount > 0 && --m_initCount == 0) {
        CloseLocked();
    }
}

void Logger::LoadSettingsLocked() {
    m_settings = Settings();
    m_settingsFile.clear();
    if (auto file = platform::ReadEnvironmentVariable(L"NEXILO_TRACELOG_SETTINGS")) {
        m_settingsFile = *file;
    }
    ReadSettingsFileLocked();
    ReadEnvironmentLocked();
}

void Logger::ReadSettingsFileLocked() {
    if (m_settingsFile.empty()) {
        return;
    }
    m_settingsStamp = LastWriteStamp(m_settingsFile);
    std::ifstream in(ToPath(m_settingsFile));
    std::string line;
    while (std::getline(in, line)) {
        std::string text = Trim(line);
        std::size_t equals = text.find('=');
        if (text.empty() || text[0] == '#' || equals == std::string::npos) {
            continue;
        }
        std::string key = Trim(std::string_view(text).substr(0, equals));
        std::string value = Trim(std::string_view(text).substr(equals + 1));
        if (key == "file") {
            m_settings.path = platform::Utf8ToWide(value);
        } else if (key == "level") {
            ParseLevel(value, m_settings.level);
        } else if (key == "max_size") {
            if (auto size = ParseSize(value)) {
                m_settings.maxSize = *size;
            }
        } else if (key == "enabled") {
            if (auto enabled = ParseBool(value)) {
                m_settings.enabled = *enabled;
            }
        }
    }
}

void Logger::ReadEnvironmentLocked() {
    if (auto path = platform::ReadEnvironmentVariable(L"NEXILO_TRACELOG_FILE")) {
        if (!path->empty()) {
            m_settings.path = *path;
        }
    }
    if (auto level = platform::ReadEnvironmentVariable(L"NEXILO_TRACELOG_LEVEL")) {
        ParseLevel(platform::WideToUtf8(*level), m_settings.level);
    }
    if (auto size = platform::ReadEnvironmentVariable(L"NEXILO_TRACELOG_MAX_SIZE")) {
        if (auto parsed = ParseSize(platform::WideToUtf8(*size))) {
            m_settings.maxSize = *parsed;
        }
    }
}

void Logger::CheckSettingsFileLocked() {
    if (!m_monitor || m_settingsFile.empty()) {
        return;
    }
    std::uint32_t now = platform::MonotonicMs32();
    if (now - m_lastSettingsCheck < kSettingsCheckIntervalMs) {
        return;
    }
    m_lastSettingsCheck = now;
    if (LastWriteStamp(m_settingsFile) != m_settingsStamp) {
        std::wstring before = CurrentPathLocked();
        ReadSettingsFileLocked();
        ReadEnvironmentLocked();
        if (CurrentPathLocked() != before) {
            CloseLocked();
        }
    }
}

std::uint32_t Logger::ApplySettings() {
    std::lock_guard lock(m_mutex);
    std::wstring before = CurrentPathLocked();
    ReadSettingsFileLocked();
    ReadEnvironmentLocked();
    if (CurrentPathLocked() != before) {
        CloseLocked();
    }
    return platform::kErrorSuccess;
}

std::uint32_t Logger::SetSettingsFile(const wchar_t* path) {
    std::lock_guard lock(m_mutex);
    m_settingsFile = path != nullptr ? path : L"";
    return platform::kErrorSuccess;
}

std::uint32_t Logger::Enable(bool enable) {
    std::lock_guard lock(m_mutex);
    m_settings.enabled = enable;
    return platform::kErrorSuccess;
}

std::uint32_t Logger::SetLevel(std::uint32_t level) {
    std::lock_guard lock(m_mutex);
    m_settings.level = level;
    return platform::kErrorSuccess;
}

std::uint32_t Logger::SetPath(const wchar_t* path) {
    std::lock_guard lock(m_mutex);
    m_settings.path = path != nullptr ? path : L"";
    CloseLocked();
    return platform::kErrorSuccess;
}

std::uint32_t Logger::SetType(std::uint32_t type) {
    if (type != kTypeNone && type != kTypeFile) {
        return platform::kErrorInvalidParameter;
    }
    std::lock_guard lock(m_mutex);
    m_settings.type = type;
    return platform::kErrorSuccess;
}

std::uint32_t Logger::SetMode(std::uint32_t mode) {
    if (mode != kModeBuffered && mode != kModeFlushEachLine) {
        return platform::kErrorInvalidParameter;
    }
    std::lock_guard lock(m_mutex);
    m_settings.mode = mode;
    if (m_file.is_open()) {
        m_file.flush();
    }
    return platform::kErrorSuccess;
}

std::uint32_t Logger::SetMaxSize(std::uint64_t bytes) {
    std::lock_guard lock(m_mutex);
    m_settings.maxSize = bytes;
    return platform::kErrorSuccess;
}

std::uint32_t Logger::SetDepth(std::int32_t depth) {
    std::lock_guard lock(m_mutex);
    std::uint32_t thread = platform::CurrentThreadId();
    if (depth > 0) {
        m_depths[thread] = depth;
    } else {
        m_depths.erase(thread);
    }
    return platform::kErrorSuccess;
}

std::uint32_t Logger::MonitorSettings(bool enable) {
    std::lock_guard lock(m_mutex);
    m_monitor = enable;
    m_lastSettingsCheck = platform::MonotonicMs32() - kSettingsCheckIntervalMs;
    return platform::kErrorSuccess;
}

bool Logger::IsEnabled() {
    std::lock_guard lock(m_mutex);
    return m_settings.enabled && m_settings.type == kTypeFile && m_settings.level != 0;
}

std::uint32_t Logger::GetLevel() {
    std::lock_guard lock(m_mutex);
    return m_settings.level;
}

std::uint32_t Logger::Write(std::int32_t depthChange, std::uint32_t level, const wchar_t* function,
                            const wchar_t* format, std::va_list args) {
    cv::StringW formatted;
    if (format != nullptr) {
        cv::StringW::FormatV(formatted, format, args);
    }
    return WriteUtf8(depthChange, level, ToUtf8(function), ToUtf8(formatted.GetString()));
}

std::uint32_t Logger::WriteText(std::uint32_t level, const wchar_t* function, const wchar_t* text) {
    return WriteUtf8(0, level, ToUtf8(function), ToUtf8(text));
}

std::uint32_t Logger::WriteUtf8(std::int32_t depthChange, std::uint32_t level,
                                const std::string& function, const std::string& message) {
    std::uint32_t thread = platform::CurrentThreadId();
    std::int64_t now = UnixMsNow();

    std::lock_guard lock(m_mutex);
    auto found = m_depths.find(thread);
    std::int32_t depth = found != m_depths.end() ? found->second : 0;
    if (depthChange < 0) {
        depth = depth + depthChange > 0 ? depth + depthChange : 0;
    }
    const std::int32_t lineDepth = depth;
    if (depthChange > 0) {
        depth += depthChange;
    }
    if (depth > 0) {
        m_depths[thread] = depth;
    } else if (found != m_depths.end()) {
        m_depths.erase(found);
    }

    CheckSettingsFileLocked();
    if (!m_settings.enabled || m_settings.type != kTypeFile || level > m_settings.level ||
        level == 0) {
        return platform::kErrorSuccess;
    }
    std::string line = FormatLine({now, thread, level, lineDepth, function, message});
    if (!m_file.is_open() && !OpenLocked()) {
        return platform::kErrorAccessDenied;
    }
    if (m_settings.maxSize != 0 && m_size != 0 && m_size + line.size() > m_settings.maxSize) {
        RotateLocked();
        if (!OpenLocked()) {
            return platform::kErrorAccessDenied;
        }
    }
    m_file.write(line.data(), static_cast<std::streamsize>(line.size()));
    if (m_settings.mode == kModeFlushEachLine) {
        m_file.flush();
    }
    if (!m_file) {
        CloseLocked();
        return platform::kErrorGenFailure;
    }
    m_size += line.size();
    return platform::kErrorSuccess;
}

std::wstring Logger::CurrentPathLocked() const {
    return m_settings.path.empty() ? platform::JoinPath(m_defaultFolder, L"tracelog.log")
                                   : m_settings.path;
}

bool Logger::OpenLocked() {
    m_openPath = CurrentPathLocked();
    fs::path path = ToPath(m_openPath);
    m_file.open(path, std::ios::binary | std::ios::app);
    if (!m_file.is_open()) {
        m_file.clear();
        return false;
    }
    std::error_code error;
    std::uintmax_t size = fs::file_size(path, error);
    m_size = error ? 0 : static_cast<std::uint64_t>(size);
    return true;
}

void Logger::CloseLocked() {
    if (m_file.is_open()) {
        m_file.close();
    }
    m_file.clear();
    m_size = 0;
}

void Logger::RotateLocked() {
    CloseLocked();
    fs::path current = ToPath(m_openPath);
    fs::path old = current;
    old += ".1";
    std::error_code error;
    fs::remove(old, error);
    fs::rename(current, old, error);
}

Logger& TheLogger() {
    static Logger logger(platform::ParentFolder(platform::GetOwnModulePath().path));
    return logger;
}

} // namespace devkit::tracelog
