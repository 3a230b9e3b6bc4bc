// The dev kit's cloud client library: the 34 exports of the real library, with answers from the
// script in the dev kit home and a record of every request (see README.md).
#include "cloud/cloud_client_api.h"
#include "devkit/common/devkit_home.h"
#include "devkit/cvzc/script.h"

#include <jansson.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace devkit::cvzc;
using cloud::CvzSession;

struct Registration {
    std::string type;
    std::string channel;
    cloud::CvzCallbacks callbacks{};
};

struct Session {
    int number = 0;
    std::map<std::int32_t, std::int32_t> options;
    std::vector<Registration> registrations;
};

struct Library {
    std::mutex mutex;
    std::set<Session*> live;
    int nextNumber = 0;
};

Library& State() {
    static Library library;
    return library;
}

std::filesystem::path CloudFolder() {
    return devkit::DevkitHome() / "cloud";
}

// The script as it is now on disk, read on every call so tests and people can change it while a
// host runs.
Script LoadScript() {
    const auto path = CloudFolder() / "script.json";
    std::string text;
    if (std::filesystem::exists(path) && !devkit::ReadWholeFile(path, text)) {
        std::fprintf(stderr, "cvzc: cannot read %s\n", path.string().c_str());
    }
    Script script = Script::Parse(text);
    if (!script.Error().empty()) {
        std::fprintf(stderr, "cvzc: %s: %s\n", path.string().c_str(), script.Error().c_str());
    }
    return script;
}

void Record(json_t* entry) {
    char* line = json_dumps(entry, JSON_COMPACT);
    if (line && !devkit::AppendLine(CloudFolder() / "requests.jsonl", line)) {
        std::fprintf(stderr, "cvzc: cannot record a request in %s\n",
                     (CloudFolder() / "requests.jsonl").string().c_str());
    }
    free(line);
    json_decref(entry);
}

// The live session behind `handle`, or null for a handle this library did not give out.
Session* Find(CvzSession handle) {
    auto* session = static_cast<Session*>(handle);
    return State().live.count(session) ? session : nullptr;
}

char* Duplicate(const std::string& text) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

} // namespace

NEXILO_EXPORT std::int32_t NEXILO_CALL cvzephra_init(CvzSession* session) {
    if (!session) {
        return kCodeInvalidParameter;
    }
    const InitBehaviour behaviour = LoadScript().Init();
    *session = nullptr;
    if (behaviour.handle) {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        auto* created = new Session;
        created->number = ++state.nextNumber;
        state.live.insert(created);
        *session = created;
    }
    return behaviour.code;
}

NEXILO_EXPORT std::int32_t NEXILO_CALL cvzephra_uninit(CvzSession handle) {
    auto& state = State();
    std::lock_guard lock(state.mutex);
    Session* session = Find(handle);
    if (!session) {
        return kCodeInvalidHandle;
    }
    state.live.erase(session);
    delete session;
    return 0;
}

NEXILO_EXPORT std::int32_t NEXILO_CALL cvzephra_ask(CvzSession handle,
                                                    const cloud::CvzRequest* request,
                                                    cloud::CvzReply** reply) {
    if (!request || !reply || !request->service || (!request->data && request->size != 0)) {
        return kCodeInvalidParameter;
    }
    *reply = nullptr;
    int number = 0;
    {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        Session* session = Find(handle);
        if (!session) {
            return kCodeInvalidHandle;
        }
        number = session->number;
    }
    const std::string text(request->data ? request->data : "", request->size);
    Record(json_pack("{s:i, s:s, s:i, s:i, s:s%}", "session", number, "service", request->service,
                     "limit", request->limit, "kind", request->kind, "text", text.data(),
                     text.size()));

    const Answer answer = LoadScript().Decide(request->service, MethodOf(text).value_or(""), text);
    if (answer.kind == Answer::Kind::TransportError) {
        return answer.code;
    }
    if (answer.kind == Answer::Kind::NoReply) {
        return 0;
    }
    auto* record = static_cast<cloud::CvzReply*>(std::calloc(1, sizeof(cloud::CvzReply)));
    char* data = Duplicate(answer.text);
    if (!record || !data) {
        std::free(record);
        std::free(data);
        return kCodeInvalidParameter;
    }
    record->kind = answer.replyKind;
    record->data = data;
    record->size = static_cast<std::uint32_t>(answer.text.size());
    *reply = record;
    return 0;
}

NEXILO_EXPORT void NEXILO_CALL cvzephra_free_response(cloud::CvzReply* reply) {
    if (reply) {
        std::free(reply->data);
        std::free(reply);
    }
}

NEXILO_EXPORT std::int32_t NEXILO_CALL cvzephra_set_option(CvzSession handle, std::int32_t option,
                                                           std::int32_t value) {
    auto& state = State();
    std::lock_guard lock(state.mutex);
    Session* session = Find(handle);
    if (!session) {
        return kCodeInvalidHandle;
    }
    session->options[option] = value;
    return 0;
}

#if !defined(CVZC_WITHOUT_REGISTER)
NEXILO_EXPORT std::int32_t NEXILO_CALL nexilo_register(CvzSession handle,
                                                       const cloud::CvzCredentials* credentials,
                                                       const cloud::CvzTarget* target,
                                                       const char* type, const char* channel,
                                                       const cloud::CvzCallbacks* callbacks) {
    if (!credentials || !target || !type || !channel || !callbacks) {
        return kCodeInvalidParameter;
    }
    int number = 0;
    {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        Session* session = Find(handle);
        if (!session) {
            return kCodeInvalidHandle;
        }
        session->registrations.push_back({type, channel, *callbacks});
        number = session->number;
    }
    auto text = [](const char* value) { return value ? value : ""; };
    Record(json_pack("{s:i, s:{s:s, s:s, s:{s:s, s:s}, s:{s:s, s:s, s:s}}}", "session", number,
                     "register", "type", type, "channel", channel, "target", "app_id",
                     text(target->appId), "device_id", text(target->deviceId), "credentials",
                     "user_token", text(credentials->userToken), "app_id", text(credentials->appId),
                     "device_id", text(credentials->deviceId)));
    return 0;
}
#endif

// The rest of the real library's surface: present, since a load demands every export, but not
// offered by the dev kit. Each answers "not supported" whatever it is given.
#define CVZC_UNSUPPORTED(name)                                                                     \
    NEXILO_EXPORT std::int32_t NEXILO_CALL name(void*) {                                           \
        return kCodeNotSupported;                                                                  \
    }

CVZC_UNSUPPORTED(cvzephra_push_info)
CVZC_UNSUPPORTED(cvzephra_push_json)
CVZC_UNSUPPORTED(cvzephra_push_bin)
CVZC_UNSUPPORTED(cvzephra_ask_json)
CVZC_UNSUPPORTED(cvzephra_ask_bin)
CVZC_UNSUPPORTED(cvzephra_ask_async)
CVZC_UNSUPPORTED(cvzephra_ask_json_async)
CVZC_UNSUPPORTED(cvzephra_ask_bin_async)
CVZC_UNSUPPORTED(cvzephra_text)
CVZC_UNSUPPORTED(cvzephra_set_optionv)
CVZC_UNSUPPORTED(cvzephra_get_option)
CVZC_UNSUPPORTED(cvzephra_dup_option)
CVZC_UNSUPPORTED(cvzephra_free_option)
CVZC_UNSUPPORTED(cvzephra_file_upload)
CVZC_UNSUPPORTED(cvzephra_file_upload_async)
CVZC_UNSUPPORTED(cvzephra_mem_upload)
CVZC_UNSUPPORTED(cvzephra_mem_upload_async)
CVZC_UNSUPPORTED(cvzephra_json_alloc)
CVZC_UNSUPPORTED(cvzephra_json_free)
CVZC_UNSUPPORTED(cvzephra_json_object)
CVZC_UNSUPPORTED(cvzephra_json_path)
CVZC_UNSUPPORTED(cvzephra_json_foreach)
CVZC_UNSUPPORTED(cvzephra_json_array_at)
CVZC_UNSUPPORTED(cvzephra_json_array_size)
CVZC_UNSUPPORTED(cvzephra_json_string)
CVZC_UNSUPPORTED(cvzephra_json_long)
CVZC_UNSUPPORTED(cvzephra_json_real)
CVZC_UNSUPPORTED(cvzephra_json_type_of)
