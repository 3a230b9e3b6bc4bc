// Where a running emulator says it can be reached: cloud/emulator.json in the dev kit home,
// {"url": "http://127.0.0.1:PORT", "pid": N}. The emulator writes it once it listens and removes
// it when it stops; the dev kit's cloud library talks to the emulator while the file is there.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace devkit::cloud {

std::filesystem::path EmulatorAddressFile(const std::filesystem::path& home);

// The url the file names; nullopt when there is no file. A file that cannot be read or holds
// no url also gives nullopt, with the reason in `error`.
std::optional<std::string> ReadEmulatorUrl(const std::filesystem::path& file, std::string& error);

// Replaces the file as a whole, so that a reader never sees half of it.
bool WriteEmulatorAddress(const std::filesystem::path& file, const std::string& url, long pid,
                          std::string& error);

// Removes the file when it still names `url` (a later emulator may have taken it over).
void RemoveEmulatorAddress(const std::filesystem::path& file, const std::string& url);

} // namespace devkit::cloud
