#include "devkit/nodectl/node_state.h"

#include "devkit/common/devkit_home.h"
#include "platform/file_util.h"

#include <cstdlib>
#include <fstream>
#include <system_error>

namespace devkit::nodectl {

std::filesystem::path StateFile() {
    return DevkitHome() / "node" / "state.json";
}

NodeState::NodeState() : m_root(json_object()) {}

NodeState::~NodeState() {
    json_decref(m_root);
}

bool NodeState::Load(const std::filesystem::path& file, std::string& error) {
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) {
        return true;
    }
    std::string text;
    if (!ReadWholeFile(file, text)) {
        error = "cannot read the state file " + file.string();
        return false;
    }
    json_error_t parseError;
    json_t* root = json_loadb(text.data(), text.size(), JSON_ALLOW_NUL, &parseError);
    if (root == nullptr || !json_is_object(root)) {
        json_decref(root);
        error =
            "the state file " + file.string() + " is no JSON object" +
            (root == nullptr ? ": line " + std::to_string(parseError.line) + ": " + parseError.text
                             : std::string());
        return false;
    }
    for (const char* section : {"user", "agent_fields", "apps", "scripted"}) {
        json_t* member = json_object_get(root, section);
        if (member != nullptr && !json_is_object(member)) {
            json_decref(root);
            error = "the state file " + file.string() + ": \"" + section + "\" is no object";
            return false;
        }
    }
    json_decref(m_root);
    m_root = root;
    return true;
}

bool NodeState::Save(const std::filesystem::path& file, std::string& error) const {
    std::error_code failure;
    std::filesystem::create_directories(file.parent_path(), failure);
    char* text = json_dumps(m_root, JSON_INDENT(2));
    if (text == nullptr) {
        error = "cannot write the state";
        return false;
    }
    std::string content(text);
    free(text);
    content += '\n';
    std::filesystem::path temporary = file;
    temporary += ".new";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << content;
        if (!out.flush()) {
            error = "cannot write " + temporary.string();
            return false;
        }
    }
    if (platform::ReplaceFileAtomically(temporary.wstring().c_str(), file.wstring().c_str()) !=
        platform::kErrorSuccess) {
        std::filesystem::remove(temporary, failure);
        error = "cannot replace " + file.string();
        return false;
    }
    return true;
}

json_t* NodeState::Section(const char* name, bool create) {
    json_t* section = json_object_get(m_root, name);
    if (json_is_object(section)) {
        return section;
    }
    if (!create) {
        return nullptr;
    }
    section = json_object();
    json_object_set_new(m_root, name, section);
    return section;
}

} // namespace devkit::nodectl
