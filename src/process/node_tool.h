// The client of the node control tool (nodectl.exe beside the module): the logic behind the flat
// exports that read the signed-in user and agent fields and register applications with the
// account node service.
//
// Two routes, and the difference is deliberate:
// - writing verbs (shd_set_status, shd_add_app, shd_rem_app) go through the process runner: tool
//   path quoted, the caller's streams, no window flags;
// - reading verbs (shd_get_user, shd_get_agent_field) go through the capture route: tool path not
//   quoted (so a folder with a blank breaks it), hidden, output and error into one pipe; the child
//   is waited for before the one read of at most 4096 bytes, and the pipe's write end stays open
//   meanwhile: a tool that prints nothing leaves the read blocked, a tool that prints more than
//   the pipe holds never ends.
// Arguments are pasted between double quotes as they are; a quote inside them is not escaped.
// Every failure is false, its reason a log line. Nothing is cached between calls.
//
// Lines go to the component's log, or to the sink given (tests).
//
// Threads: every call blocks its caller for the life of the child, with no time limit; the
// client has no state besides its folder, launcher and sink, so calls may run on any threads.
#pragma once

#include "diag/log.h"
#include "platform/child_process.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace process {

inline constexpr const wchar_t* kNodeToolName = L"nodectl.exe";

// The folder of a module file with a separator at its end, as PathRemoveFileSpecW followed by
// PathAddBackslashW make it.
std::wstring ToolFolderFromModulePath(std::wstring_view modulePath);

// The folder of the module that holds this code, ending in a separator; empty if unknown.
std::wstring OwnToolFolder();

// "enabled", "disabled", "pending" for 0, 1, 2; null for any other value.
const wchar_t* StatusWord(int status) noexcept;

// Arguments of the writing verbs. A null text is written as "(null)", as the Windows formatters
// write it.
std::wstring SetStatusArguments(const wchar_t* appId, const wchar_t* statusWord);
std::wstring AddAppArguments(const wchar_t* appId, const wchar_t* name, const wchar_t* statusWord,
                             const wchar_t* version);
std::wstring RemoveAppArguments(const wchar_t* appId);

// Command lines of the reading verbs, or nothing when they don't fit 1024 characters with the
// terminator (nothing is then started).
std::optional<std::wstring> GetUserCommandLine(std::wstring_view toolFolder);
std::optional<std::wstring> GetAgentFieldCommandLine(std::wstring_view toolFolder,
                                                     const wchar_t* key, const wchar_t* field);

// The text that one read gave: its bytes up to the first zero byte.
std::string TextOfRead(std::string_view bytes);

// The pieces of a text between line breaks, LF and CR alike; empty pieces are dropped.
std::vector<std::string> SplitToolLines(std::string_view text);

// The value without its trailing blanks, LFs, CRs and TABs.
std::string TrimFieldValue(std::string value);

// How a non-zero exit code of the tool is logged.
enum class ExitCodeReport {
    kInfo,  // "exitCode not 0: [%d]" at info level
    kError, // "error exitCode [%d]" at error level
};

// The capture route: start the tool hidden in `toolFolder`, wait, check its exit code, read once.
// True with the text of the read; false after logging the failed step to `log`.
bool CaptureToolOutput(platform::ProcessLauncher& launcher, const logging::FunctionLog& log,
                       ExitCodeReport report, const std::wstring& commandLine,
                       const std::wstring& toolFolder, std::string& text);

class NodeToolClient {
public:
    // `log` null: the component's log.
    NodeToolClient(std::wstring toolFolder, platform::ProcessLauncher& launcher,
                   logging::LogSink* log = nullptr);

    // shd_get_user: the first two lines of the output, from UTF-8, as user token and device id.
    // The out arguments are set only on success.
    bool GetNexiloInfo(std::wstring& deviceId, std::wstring& userToken);

    // shd_get_agent_field: the output as it came, trailing white space cut; may be empty.
    bool GetAgentField(const wchar_t* key, const wchar_t* field, std::string& value);

    // The writing verbs: true when the runner returned 0 and the tool's exit code is 0. A status
    // without a word starts nothing; so does a null id in RemoveApp.
    bool SetStatus(const wchar_t* appId, int status);
    bool AddApp(const wchar_t* appId, const wchar_t* name, int status, const wchar_t* version);
    bool RemoveApp(const wchar_t* appId);

private:
    bool RunWritingVerb(const std::wstring& arguments);

    std::wstring m_toolFolder;
    platform::ProcessLauncher& m_launcher;
    logging::LogSink* m_log;
};

} // namespace process
