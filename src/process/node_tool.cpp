#include "process/node_tool.h"

#include "platform/error_codes.h"
#include "platform/module_path.h"
#include "platform/path_spec.h"
#include "platform/utf8.h"
#include "process/process_tool.h"

#include <new>

namespace process {

namespace {

constexpr std::size_t kCommandLineBuffer = 1024;

const wchar_t* Text(const wchar_t* text) {
    return text != nullptr ? text : L"(null)";
}

// Appends `name` to `folder` with one separator between them, as PathAppendW does.
std::wstring PathAppend(std::wstring_view folder, std::wstring_view name) {
    std::wstring path(folder);
    if (!path.empty() && path.back() != platform::kPathSeparator) {
        path += platform::kPathSeparator;
    }
    path += name;
    return path;
}

std::optional<std::wstring> Fitting(std::wstring line) {
    if (line.size() >= kCommandLineBuffer) {
        return std::nullopt;
    }
    return line;
}

const wchar_t* StartStepWord(platform::StartStep step) {
    switch (step) {
        case platform::StartStep::kCreateOutputPipe:
            return L"error CreatePipe [%d]";
        case platform::StartStep::kProtectOutputPipe:
            return L"error SetHandleInformation [%d]";
        case platform::StartStep::kCreateInputPipe:
            return L"error CreatePipe2 [%d]";
        case platform::StartStep::kCreateProcess:
            break;
    }
    return L"error CreateProcess [%d]";
}

void LogError(const logging::FunctionLog& log, const wchar_t* format, std::uint32_t code) {
    NX_LOG_ERROR(log, format, static_cast<int>(code));
}

} // namespace

std::wstring ToolFolderFromModulePath(std::wstring_view modulePath) {
    std::wstring buffer(modulePath);
    buffer.resize(modulePath.size() + 2, L'\0'); // room for the separator and the terminator
    platform::RemoveFileSpec(buffer.data());
    // A folder the separator doesn't fit stays without it, as the Windows call leaves it.
    (void)platform::AddBackslash(buffer.data(), buffer.size());
    buffer.resize(std::char_traits<wchar_t>::length(buffer.c_str()));
    return buffer;
}

std::wstring OwnToolFolder() {
    platform::PathResult module = platform::GetOwnModulePath();
    if (module.error != platform::kErrorSuccess || module.path.empty()) {
        return {};
    }
    return ToolFolderFromModulePath(module.path);
}

const wchar_t* StatusWord(int status) noexcept {
    switch (status) {
        case 0:
            return L"enabled";
        case 1:
            return L"disabled";
        case 2:
            return L"pending";
        default:
            return nullptr;
    }
}

std::wstring SetStatusArguments(const wchar_t* appId, const wchar_t* statusWord) {
    // The only verb whose option is spelt --app_id; the tool expects it so.
    return std::wstring(L"shd_set_status --app_id=\"") + Text(appId) + L"\" --status=\"" +
           Text(statusWord) + L"\"";
}

std::wstring AddAppArguments(const wchar_t* appId, const wchar_t* name, const wchar_t* statusWord,
                             const wchar_t* version) {
    return std::wstring(L"shd_add_app --appid=\"") + Text(appId) + L"\" --name=\"" + Text(name) +
           L"\" --status=\"" + Text(statusWord) + L"\" --version=\"" + Text(version) + L"\"";
}

std::wstring RemoveAppArguments(const wchar_t* appId) {
    return std::wstring(L"shd_rem_app --appid=\"") + Text(appId) + L"\"";
}

std::optional<std::wstring> GetUserCommandLine(std::wstring_view toolFolder) {
    return Fitting(PathAppend(toolFolder, L"nodectl.exe shd_get_user"));
}

std::optional<std::wstring> GetAgentFieldCommandLine(std::wstring_view toolFolder,
                                                     const wchar_t* key, const wchar_t* field) {
    return Fitting(PathAppend(toolFolder, L"nodectl.exe ") + L"shd_get_agent_field --key=\"" +
                   Text(key) + L"\" --field_name=\"" + Text(field) + L"\"");
}

std::string TextOfRead(std::string_view bytes) {
    return std::string(bytes.substr(0, bytes.find('\0')));
}

std::vector<std::string> SplitToolLines(std::string_view text) {
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t end = text.find_first_of("\r\n", begin);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        if (end > begin) {
            pieces.emplace_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return pieces;
}

std::string TrimFieldValue(std::string value) {
    std::size_t end = value.find_last_not_of(" \n\r\t");
    value.erase(end == std::string::npos ? 0 : end + 1);
    return value;
}

bool CaptureToolOutput(platform::ProcessLauncher& launcher, const logging::FunctionLog& log,
                       ExitCodeReport report, const std::wstring& commandLine,
                       const std::wstring& toolFolder, std::string& text) {
    platform::StartResult started = launcher.Start(
        platform::ChildStart{commandLine, toolFolder, platform::ChildStreams::kCapture});
    if (started.error != platform::kErrorSuccess) {
        LogError(log, StartStepWord(started.failedStep), started.error);
        return false;
    }
    platform::ChildProcess& child = *started.child;
    // The child is left running when the wait fails.
    if (platform::ErrorCode error = child.Wait()) {
        LogError(log, L"error WaitForSingleObject [%d]", error);
        return false;
    }
    std::uint32_t exitCode = 0;
    if (platform::ErrorCode error = child.GetExitCode(exitCode)) {
        LogError(log, L"error GetExitCodeProcess [%d]", error);
        return false;
    }
    if (exitCode != 0) {
        if (report == ExitCodeReport::kInfo) {
            NX_LOG_INFO(log, L"exitCode not 0: [%d]", static_cast<int>(exitCode));
        } else {
            LogError(log, L"error exitCode [%d]", exitCode);
        }
        return false;
    }
    std::string bytes;
    if (platform::ErrorCode error = child.ReadOutputOnce(bytes)) {
        // A failed read has never had a word of its own; it is reported under the exit code's.
        LogError(log, L"error GetExitCodeProcess [%d]", error);
        return false;
    }
    text = TextOfRead(bytes);
    return true;
}

NodeToolClient::NodeToolClient(std::wstring toolFolder, platform::ProcessLauncher& launcher,
                               logging::LogSink* log)
    : m_toolFolder(std::move(toolFolder)), m_launcher(launcher), m_log(log) {}

bool NodeToolClient::GetNexiloInfo(std::wstring& deviceId, std::wstring& userToken) {
    const logging::FunctionLog log(L"GetNexiloInfo", m_log);
    try {
        std::optional<std::wstring> line = GetUserCommandLine(m_toolFolder);
        std::string text;
        if (!line ||
            !CaptureToolOutput(m_launcher, log, ExitCodeReport::kInfo, *line, m_toolFolder, text)) {
            return false;
        }
        std::vector<std::string> pieces = SplitToolLines(text);
        if (pieces.size() < 2) {
            NX_LOG_ERROR(log, L"error split");
            return false;
        }
        std::wstring token = platform::Utf8ToWide(pieces[0]);
        std::wstring device = platform::Utf8ToWide(pieces[1]);
        userToken = std::move(token);
        deviceId = std::move(device);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool NodeToolClient::GetAgentField(const wchar_t* key, const wchar_t* field, std::string& value) {
    const logging::FunctionLog log(L"get_agent_field", m_log);
    try {
        std::optional<std::wstring> line = GetAgentFieldCommandLine(m_toolFolder, key, field);
        std::string text;
        if (!line || !CaptureToolOutput(m_launcher, log, ExitCodeReport::kError, *line,
                                        m_toolFolder, text)) {
            return false;
        }
        value = TrimFieldValue(std::move(text));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool NodeToolClient::SetStatus(const wchar_t* appId, int status) {
    const wchar_t* word = StatusWord(status);
    if (word == nullptr) {
        return false;
    }
    try {
        return RunWritingVerb(SetStatusArguments(appId, word));
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool NodeToolClient::AddApp(const wchar_t* appId, const wchar_t* name, int status,
                            const wchar_t* version) {
    const wchar_t* word = StatusWord(status);
    if (word == nullptr) {
        return false;
    }
    try {
        return RunWritingVerb(AddAppArguments(appId, name, word, version));
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool NodeToolClient::RemoveApp(const wchar_t* appId) {
    if (appId == nullptr) {
        return false;
    }
    try {
        return RunWritingVerb(RemoveAppArguments(appId));
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool NodeToolClient::RunWritingVerb(const std::wstring& arguments) {
    std::wstring tool = m_toolFolder + kNodeToolName;
    std::uint32_t exitCode = 0;
    std::uint32_t result = RunProcess::ProcessTool::RunProcess(
        m_launcher, m_log, tool.c_str(), arguments.c_str(), m_toolFolder.c_str(), &exitCode);
    return result == platform::kErrorSuccess && exitCode == 0;
}

} // namespace process
