// Where the dev kit keeps its state: scripts, recorded requests, the node tool's state, the
// host's settings.
//
// The folder is NEXILO_DEVKIT_HOME when that is set, otherwise ".nexilo-devkit" in the user's
// home folder (HOME on POSIX, USERPROFILE on Windows), otherwise in the current folder. It is not
// created here: writers create what they need. Thread-safe; read anew on every call so that tests
// can point it elsewhere.
#pragma once

#include <filesystem>
#include <string>

namespace devkit {

std::filesystem::path DevkitHome();

// Appends one line to `file` (creating its folder and the file), whole or not at all as far as
// other writers of the same process are concerned. False when the file cannot be written.
bool AppendLine(const std::filesystem::path& file, const std::string& line);

// The whole content of `file`, or false when it cannot be read.
bool ReadWholeFile(const std::filesystem::path& file, std::string& content);

} // namespace devkit
