// The dev kit's push folder: pushed messages waiting in the dev kit home's "push" folder, one
// file each, for the cloud library's delivery threads (see README.md).
//
// A message file is a JSON object:
//   {"type": "notification", "target": {"app_id": "all", "device_id": "all"},
//    "message": {"app_fields": {...}, "user_fields": {...}}}
// "type" (a string) is required; "target" is optional (both members default to "all"); the bytes
// handed to the handlers are either "message" (any JSON, printed compactly) or "text" (a string,
// taken byte for byte, "\u0000" included, for messages that are not JSON at all), exactly one
// of the two.
// Writers drop a file whole: it is written under a name that readers skip and renamed to its
// final "*.json" name in one step, and final names sort in the order of dropping.
// Pure functions and plain file operations; thread-safe.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace devkit::cvzc {

struct PushMessage {
    std::string type;
    std::string appId = "all";
    std::string deviceId = "all";
    std::string bytes;
};

struct ParsedPush {
    std::optional<PushMessage> message;
    std::string error; // why the text is no message file, when it isn't
};

ParsedPush ParsePushFile(const std::string& text);

// A registration's type and target take a message when all three are equal.
bool PushMatches(const PushMessage& message, const std::string& type, const std::string& appId,
                 const std::string& deviceId);

// The dev kit home's push folder.
std::filesystem::path PushFolder();

// The names of the message files in `folder` in the order they were dropped; empty when the
// folder is missing.
std::vector<std::string> ListPushFiles(const std::filesystem::path& folder);

// Drops `text` into `folder` (created when missing) as a new message file. The path of the file,
// or nullopt with `error` set when it cannot be written.
std::optional<std::filesystem::path> DropPushFile(const std::filesystem::path& folder,
                                                  const std::string& text, std::string& error);

} // namespace devkit::cvzc
