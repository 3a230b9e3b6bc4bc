// The dev kit logging module's engine: settings, the log file with rotation, per-thread depth.
//
// Contract:
// - Settings come, in rising precedence, from the defaults, the settings file, the environment
//   (read when the first Init after a load or a full Deinit runs, and by ApplySettings) and the
//   setters, which last until the last Deinit. README.md lists the variables and keys.
// - Write formats a wide Windows-convention format (cv::StringW's translator), and appends one
//   line (line_format.h) when the logger is enabled, the type is "file" and the level is within
//   the threshold (level <= threshold). The depth is kept per thread and follows every call's
//   depth change, also for lines that are filtered out.
// - The file is opened for appending at the first line after Init (never truncated); Deinit to 0
//   closes it. When a line would take it past the size limit, the file is renamed to
//   "<file>.1" (replacing an older one) and a new file is started.
// - Thread-safe: one mutex guards the settings, the file and the depths; formatting happens
//   before taking it.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace devkit::tracelog {

inline constexpr std::uint32_t kTypeNone = 0;
inline constexpr std::uint32_t kTypeFile = 1;
inline constexpr std::uint32_t kModeBuffered = 0;
inline constexpr std::uint32_t kModeFlushEachLine = 1;
inline constexpr std::uint64_t kDefaultMaxSize = 10u * 1024 * 1024;

struct Settings {
    bool enabled = true;
    std::uint32_t level = 32;
    std::wstring path; // empty: "tracelog.log" beside the module
    std::uint64_t maxSize = kDefaultMaxSize;
    std::uint32_t type = kTypeFile;
    std::uint32_t mode = kModeFlushEachLine;
};

class Logger {
public:
    // `defaultFolder`: where the log goes when no path is set.
    explicit Logger(std::wstring defaultFolder);
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    void Init();
    void Deinit();

    std::uint32_t ApplySettings();
    std::uint32_t SetSettingsFile(const wchar_t* path);
    std::uint32_t Enable(bool enable);
    std::uint32_t SetLevel(std::uint32_t level);
    std::uint32_t SetPath(const wchar_t* path);
    std::uint32_t SetType(std::uint32_t type);
    std::uint32_t SetMode(std::uint32_t mode);
    std::uint32_t SetMaxSize(std::uint64_t bytes);
    std::uint32_t SetDepth(std::int32_t depth);
    std::uint32_t MonitorSettings(bool enable);
    bool IsEnabled();
    std::uint32_t GetLevel();

    std::uint32_t Write(std::int32_t depthChange, std::uint32_t level, const wchar_t* function,
                        const wchar_t* format, std::va_list args);
    // A line whose message is already formed.
    std::uint32_t WriteText(std::uint32_t level, const wchar_t* function, const wchar_t* text);

private:
    std::uint32_t WriteUtf8(std::int32_t depthChange, std::uint32_t level,
                            const std::string& function, const std::string& message);
    void LoadSettingsLocked();
    void ReadSettingsFileLocked();
    void ReadEnvironmentLocked();
    void CheckSettingsFileLocked();
    std::wstring CurrentPathLocked() const;
    bool OpenLocked();
    void CloseLocked();
    void RotateLocked();

    std::mutex m_mutex;
    std::wstring m_defaultFolder;
    Settings m_settings;
    std::wstring m_settingsFile;
    bool m_monitor = false;
    std::int64_t m_settingsStamp = 0;
    std::uint32_t m_lastSettingsCheck = 0;
    int m_initCount = 0;
    std::ofstream m_file;
    std::wstring m_openPath;
    std::uint64_t m_size = 0;
    std::map<std::uint32_t, std::int32_t> m_depths;
};

// The module's one logger.
Logger& TheLogger();

} // namespace devkit::tracelog
