// The node tool's state in the dev kit home: who is signed in, the agent fields, the registered
// applications and scripted answers for tests. A JSON file, <home>/node/state.json:
//
//   {
//     "user": {"user_token": "...", "device_id": "..."},
//     "agent_fields": {"globalex": {"anon_id": "..."}},
//     "apps": {"<app id>": {"name": "...", "status": "enabled", "version": "..."}},
//     "scripted": {"<verb>": {"output": "...", "output_hex": "0d0a", "exit_code": 0}}
//   }
//
// Every member is optional; a missing file is an empty state. Saving replaces the file
// atomically. Not locked: two tools writing at once may lose one write. Not thread-safe.
#pragma once

#include <jansson.h>

#include <filesystem>
#include <string>

namespace devkit::nodectl {

// The state file under the dev kit home.
std::filesystem::path StateFile();

class NodeState {
public:
    NodeState();
    ~NodeState();
    NodeState(const NodeState&) = delete;
    NodeState& operator=(const NodeState&) = delete;

    // Reads `file`; a missing file gives the empty state. False, with `error`, when the file
    // cannot be read or is no JSON object.
    bool Load(const std::filesystem::path& file, std::string& error);

    // Writes the state to `file`, creating its folder. False, with `error`, on failure.
    bool Save(const std::filesystem::path& file, std::string& error) const;

    // The object member `name` of the root, made when `create` is set; null when absent.
    json_t* Section(const char* name, bool create);

    json_t* Root() const { return m_root; }

private:
    json_t* m_root;
};

} // namespace devkit::nodectl
