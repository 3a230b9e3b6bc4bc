// The dev kit's cloud client library: the 34 exports of the real library, answering through the
// cloud emulator when the dev kit home names one and from the script otherwise, with a record of
// every request (see README.md).
#include "cloud/cloud_client_api.h"
#include "devkit/cloud/emulator_address.h"
#include "devkit/cloud/emulator_client.h"
#include "devkit/common/devkit_home.h"
#include "devkit/cvzc/script.h"

#include <jansson.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace devkit::cvzc;
using cloud::CvzSession;

struct Registration {
    std::string type;
    std::string channel;
    cloud::CvzCallbacks callbacks{};
    std::string pushSession;        // the emulator's session, in emulator mode
    std::thread waiter;             // hands the emulator's messages to the message handler
    std::atomic<bool> ended{false}; // the waiter is done: the session ended or is unreachable
};

struct Session {
    int number = 0;
    std::map<std::int32_t, std::int32_t> options;
    std::vector<std::unique_ptr<Registration>> registrations;
    std::string emulatorUrl; // empty: the session answers from the script
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

// The emulator the dev kit home names, or empty. Read at each session's start, so a host started
// before the emulator finds it on its next session.
std::string EmulatorUrl() {
    std::string error;
    const auto url = devkit::cloud::ReadEmulatorUrl(
        devkit::cloud::EmulatorAddressFile(devkit::DevkitHome()), error);
    if (!error.empty()) {
        std::fprintf(stderr, "cvzc: %s; answering from the script\n", error.c_str());
    }
    return url.value_or("");
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

Answer AskEmulator(const std::string& url, const cloud::CvzRequest& request,
                   const std::string& text) {
    const auto reply =
        devkit::cloud::EmulatorClient(url).Ask(request.service, request.limit, request.kind, text);
    Answer answer;
    if (reply.code != 0) {
        std::fprintf(stderr, "cvzc: %s\n", reply.error.c_str());
        answer.kind = Answer::Kind::TransportError;
        answer.code = reply.code;
        return answer;
    }
    answer.text = reply.text;
    return answer;
}

#if !defined(CVZC_WITHOUT_REGISTER)
// How long one wait for pushed messages may hold its request; uninit ends it at once by closing
// the session, so this only bounds a wait on an emulator that went away.
constexpr int kPushWaitMs = 10000;

// Hands every message of the emulator's push session to the registration's handler until the
// session ends or the emulator cannot be reached.
void WaitForPushes(std::string url, Registration* registration) {
    const devkit::cloud::EmulatorClient client(std::move(url));
    for (;;) {
        const auto poll = client.PollPushSession(registration->pushSession, kPushWaitMs);
        if (poll.result.code != 0) {
            std::fprintf(stderr, "cvzc: %s; no more pushed messages\n", poll.result.error.c_str());
            break;
        }
        for (const std::string& text : poll.messages) {
            const cloud::CvzMessage message{0, text.data(),
                                            static_cast<std::uint32_t>(text.size())};
            if (registration->callbacks.messageHandler) {
                registration->callbacks.messageHandler(&message, registration->callbacks.context);
            }
        }
        if (poll.closed) {
            break;
        }
    }
    registration->ended = true;
}
#endif

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
    std::string url = EmulatorUrl();
    // The emulator stands for a cloud that is there: its sessions always start.
    const InitBehaviour behaviour = url.empty() ? LoadScript().Init() : InitBehaviour{};
    *session = nullptr;
    if (behaviour.handle) {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        auto* created = new Session;
        created->number = ++state.nextNumber;
        created->emulatorUrl = std::move(url);
        state.live.insert(created);
        *session = created;
    }
    return behaviour.code;
}

NEXILO_EXPORT std::int32_t NEXILO_CALL cvzephra_uninit(CvzSession handle) {
    std::unique_ptr<Session> session;
    {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        session.reset(Find(handle));
        if (!session) {
            return kCodeInvalidHandle;
        }
        state.live.erase(session.get());
    }
    // Closing a push session wakes its waiter, which then ends; no handler runs after this.
    const devkit::cloud::EmulatorClient client(session->emulatorUrl);
    for (auto& registration : session->registrations) {
        if (registration->waiter.joinable()) {
            if (!registration->ended) {
                client.ClosePushSession(registration->pushSession);
            }
            registration->waiter.join();
        }
    }
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
    std::string url;
    {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        Session* session = Find(handle);
        if (!session) {
            return kCodeInvalidHandle;
        }
        number = session->number;
        url = session->emulatorUrl;
    }
    const std::string text(request->data ? request->data : "", request->size);
    Record(json_pack("{s:i, s:s, s:i, s:i, s:s%}", "session", number, "service", request->service,
                     "limit", request->limit, "kind", request->kind, "text", text.data(),
                     text.size()));

    const Answer answer =
        url.empty() ? LoadScript().Decide(request->service, MethodOf(text).value_or(""), text)
                    : AskEmulator(url, *request, text);
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
    auto text = [](const char* value) { return value ? value : ""; };
    int number = 0;
    std::string url;
    {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        Session* session = Find(handle);
        if (!session) {
            return kCodeInvalidHandle;
        }
        number = session->number;
        url = session->emulatorUrl;
    }
    Record(json_pack("{s:i, s:{s:s, s:s, s:{s:s, s:s}, s:{s:s, s:s, s:s}}}", "session", number,
                     "register", "type", type, "channel", channel, "target", "app_id",
                     text(target->appId), "device_id", text(target->deviceId), "credentials",
                     "user_token", text(credentials->userToken), "app_id", text(credentials->appId),
                     "device_id", text(credentials->deviceId)));
    auto registration = std::make_unique<Registration>();
    registration->type = type;
    registration->channel = channel;
    registration->callbacks = *callbacks;
    if (!url.empty()) {
        const auto opened = devkit::cloud::EmulatorClient(url).OpenPushSession(
            {text(credentials->userToken), text(credentials->appId), text(credentials->deviceId)},
            text(target->appId), text(target->deviceId), type, channel);
        if (opened.code != 0) {
            std::fprintf(stderr, "cvzc: %s\n", opened.error.c_str());
            return opened.code;
        }
        registration->pushSession = opened.text;
        registration->waiter = std::thread(WaitForPushes, url, registration.get());
    }
    {
        auto& state = State();
        std::lock_guard lock(state.mutex);
        // The session may have ended meanwhile; its uninit then never sees this waiter.
        Session* session = Find(handle);
        if (!session) {
            if (registration->waiter.joinable()) {
                devkit::cloud::EmulatorClient(url).ClosePushSession(registration->pushSession);
                registration->waiter.join();
            }
            return kCodeInvalidHandle;
        }
        session->registrations.push_back(std::move(registration));
    }
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
