// Windows command lines on every system: how a C runtime splits one into arguments, which files
// CreateProcessW tries for its program name, and how a Windows program name maps to a POSIX file.
//
// Command lines are Windows strings everywhere in the code base. On POSIX the child-process seam
// uses these functions so that a child sees the same arguments, and an unquoted program path with
// a blank goes as wrong, as it would on Windows. Pure functions over text, thread-safe, no system
// calls except in ProgramArgumentsUtf8.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Splits a command line the way the Windows C runtime builds argv (msvcrt as the Windows build
// runs here, which follows the rules of the Visual C++ runtimes since 2008):
// - argv[0] is the program name: it ends at the first blank or tab outside quotes; double quotes
//   only switch quoting on and off, backslashes are plain characters.
// - In the other arguments blanks and tabs outside quotes separate; 2n backslashes before a double
//   quote give n backslashes and the quote switches quoting; 2n+1 give n backslashes and a literal
//   quote; backslashes before anything else stay as they are; inside quotes a doubled quote gives
//   one literal quote and quoting goes on.
// An empty command line gives one empty argument, as the runtime does.
std::vector<std::wstring> SplitCommandLine(std::wstring_view commandLine);

// The program names CreateProcessW tries, in order, when it is given no application name: the text
// inside the leading quotes if the line starts with one; otherwise every prefix that ends before
// a blank or tab, then the whole line. Each name is tried with ".exe" added when it has no
// extension of its own.
std::vector<std::wstring> ProgramNameCandidates(std::wstring_view commandLine);

// The POSIX file for a Windows program name: "Y.exe" is "Y" (the extension is matched without
// regard to case); any other name is itself.
std::wstring PosixProgramName(std::wstring_view windowsName);

// The arguments of the running program in UTF-8. On Windows they come from the wide command line
// split as above (argc/argv of a narrow main would be in the ANSI code page); on POSIX they are
// argv as given.
std::vector<std::string> ProgramArgumentsUtf8(int argc, char** argv);

} // namespace platform
