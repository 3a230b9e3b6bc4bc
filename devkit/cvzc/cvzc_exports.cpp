// The dev kit's cloud client library: the 34 exports of the real library, answering through the
// cloud emulator when the dev kit home names one and from the script otherwise, with a record of
// every request, and delivery of the messages dropped into the push folder on one thread per
// session (see README.md).
#include "cloud/cloud_client_api.h"
#include "devkit/cloud/emulator_address.h"
#include "devkit/cloud/emulator_client.h"
#include "devkit/common/devkit_home.h"
#include "devkit/cvzc/push_folder.h"
#include "devkit/cvzc/script.h"

#include <jansson.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
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
    std::string appId;
    std::string deviceId;
    cloud::CvzCallbacks callbacks{};
    std::string pushSession;        // the emulator's session, in emulator mode
    std::thread waiter;             // hands the emulator's messages to the message handler
    std::atomic<bool> ended{false}; // the waiter is done: the session ended or is unreachable
};

// Where the push folder's messages go: a registration's type, target and callbacks.
struct FolderTarget {
    std::string type;
    std::string appId;
    std::string deviceId;
    cloud::CvzCallbacks callbacks{};
};

struct Session {
    int number = 0;
    std::map<std::int32_t, std::int32_t> options;
    std::vector<std::unique_ptr<Registration>> registrations;
    std::string emulatorUrl; // empty: the session answers from the script
    std::filesystem::path pushFolder;
    std::thread deliverer; // started by the first registration, under the library's mutex

    // Guards what the push folder's delivery thread shares with the exports.
    std::mutex mutex;
    std::condition_variable wake;
    std::vector<FolderTarget> folderTargets;
    std::set<std::string> seen; // message files this session has handled or found at its start
    bool stopping = false;
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
        // Known to have ended before its last messages are handed over, so an uninit that a
        // handler's caller starts right after never closes it a second time.
        if (poll.closed) {
            registration->ended = true;
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

#if !defined(CVZC_WITHOUT_REGISTER)
// How often a session's delivery thread looks into the push folder.
constexpr auto kPushPollInterval = std::chrono::milliseconds(20);

// One pass over the push folder: every file this session has not seen goes to each of its
// registrations whose type and target match, on this thread, with no lock held.
void DeliverNewMessages(Session& session) {
    const std::vector<std::string> names = ListPushFiles(session.pushFolder);
    std::vector<std::string> fresh;
    std::vector<FolderTarget> targets;
    {
        std::lock_guard lock(session.mutex);
        for (const std::string& name : names) {
            if (session.seen.insert(name).second) {
                fresh.push_back(name);
            }
        }
        targets = session.folderTargets;
    }
    for (const std::string& name : fresh) {
        {
            std::lock_guard lock(session.mutex);
            if (session.stopping) {
                return;
            }
        }
        const auto path = session.pushFolder / name;
        std::string text;
        if (!devkit::ReadWholeFile(path, text)) {
            std::fprintf(stderr, "cvzc: cannot read the pushed message %s\n",
                         path.string().c_str());
            continue;
        }
        const ParsedPush parsed = ParsePushFile(text);
        if (!parsed.message) {
            std::fprintf(stderr, "cvzc: %s: %s\n", path.string().c_str(), parsed.error.c_str());
            continue;
        }
        const PushMessage& message = *parsed.message;
        int delivered = 0;
        for (const FolderTarget& target : targets) {
            if (target.callbacks.messageHandler == nullptr ||
                !PushMatches(message, target.type, target.appId, target.deviceId)) {
                continue;
            }
            const cloud::CvzMessage record{0, message.bytes.data(),
                                           static_cast<std::uint32_t>(message.bytes.size())};
            target.callbacks.messageHandler(&record, target.callbacks.context);
            ++delivered;
        }
        Record(json_pack("{s:i, s:s, s:i}", "session", session.number, "push", name.c_str(),
                         "delivered", delivered));
    }
}

void DeliveryThread(Session* session) {
    std::unique_lock lock(session->mutex);
    while (!session->stopping) {
        lock.unlock();
        DeliverNewMessages(*session);
        lock.lock();
        session->wake.wait_for(lock, kPushPollInterval, [session] { return session->stopping; });
    }
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
        // Messages already waiting were pushed before this session existed.
        created->pushFolder = PushFolder();
        for (const std::string& name : ListPushFiles(created->pushFolder)) {
            created->seen.insert(name);
        }
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
        Session* found = Find(handle);
        if (!found) {
            return kCodeInvalidHandle;
        }
        // A handler ending its own session would wait for itself.
        if (found->deliverer.get_id() == std::this_thread::get_id()) {
            return kCodeWouldDeadlock;
        }
        session.reset(found);
        state.live.erase(found);
    }
    // The push folder's deliveries stop, and a handler that runs finishes, first.
    {
        std::lock_guard lock(session->mutex);
        session->stopping = true;
        session->wake.notify_all();
    }
    if (session->deliverer.joinable()) {
        session->deliverer.join();
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
    // The script's refusal stands for the cloud's in script mode.
    const std::int32_t code = url.empty() ? LoadScript().RegisterCode() : 0;
    Record(json_pack("{s:i, s:{s:s, s:s, s:{s:s, s:s}, s:{s:s, s:s, s:s}, s:i}}", "session", number,
                     "register", "type", type, "channel", channel, "target", "app_id",
                     text(target->appId), "device_id", text(target->deviceId), "credentials",
                     "user_token", text(credentials->userToken), "app_id", text(credentials->appId),
                     "device_id", text(credentials->deviceId), "code", code));
    if (code != 0) {
        return code;
    }
    auto registration = std::make_unique<Registration>();
    registration->type = type;
    registration->channel = channel;
    registration->appId = text(target->appId);
    registration->deviceId = text(target->deviceId);
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
        {
            std::lock_guard sessionLock(session->mutex);
            session->folderTargets.push_back({registration->type, registration->appId,
                                              registration->deviceId, registration->callbacks});
        }
        if (!session->deliverer.joinable()) {
            session->deliverer = std::thread(DeliveryThread, session);
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
