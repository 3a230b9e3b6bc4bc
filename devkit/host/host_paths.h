// Where the reference host keeps its files in the dev kit home, and the path conversions its
// parts share.
//
// Files, all under <dev kit home>/host/: settings.json (the settings plugin's store),
// productinfo.json (the product info plugin's values), evsink.jsonl (the event sink's record).
// Nothing here creates them. Thread-safe.
#pragma once

#include <filesystem>
#include <string>

namespace devkit::host {

std::filesystem::path HostFolder(const std::filesystem::path& home);
std::filesystem::path SettingsFile(const std::filesystem::path& home);
std::filesystem::path ProductInfoFile(const std::filesystem::path& home);
std::filesystem::path EventSinkRecordFile(const std::filesystem::path& home);

// The wide form of a path and back. POSIX paths are taken as UTF-8 bytes, never through the C
// locale, so names beyond ASCII survive.
std::wstring WidePath(const std::filesystem::path& path);
std::filesystem::path PathFromWide(const std::wstring& path);
// The path as UTF-8 text, for messages.
std::string PathText(const std::filesystem::path& path);

} // namespace devkit::host
