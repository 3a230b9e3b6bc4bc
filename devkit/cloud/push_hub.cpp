#include "devkit/cloud/push_hub.h"

#include "devkit/cloud/json_ptr.h"

#include <algorithm>

namespace devkit::cloud {

namespace {

bool Matches(const std::string& wanted, const std::string& offered) {
    return wanted == offered || wanted == kAllTargets || offered == kAllTargets;
}

std::string SessionSubject(std::int64_t id, const Registration& registration) {
    return "session " + std::to_string(id) + " (" + registration.type + ", " +
           registration.targetAppId + "/" + registration.targetDeviceId + ")";
}

} // namespace

bool ParseRegistration(const std::string& body, Registration& registration, std::string& error) {
    JsonPtr root = ParseJson(body);
    json_t* credentials = json_object_get(root.get(), "credentials");
    json_t* target = json_object_get(root.get(), "target");
    const auto token = StringMember(credentials, "user_token");
    const auto app = StringMember(credentials, "app_id");
    const auto device = StringMember(credentials, "device_id");
    const auto targetApp = StringMember(target, "app_id");
    const auto targetDevice = StringMember(target, "device_id");
    const auto type = StringMember(root.get(), "type");
    const auto channel = StringMember(root.get(), "channel");
    if (!token || !app || !device || !targetApp || !targetDevice || !type || !channel) {
        error = "a registration needs credentials {user_token, app_id, device_id}, target "
                "{app_id, device_id}, type and channel, all strings";
        return false;
    }
    registration = {*token, *app, *device, *type, *channel, *targetApp, *targetDevice};
    return true;
}

bool ParsePushMessage(const std::string& body, PushMessage& message, std::string& error) {
    JsonPtr root = ParseJson(body);
    const auto type = StringMember(root.get(), "type");
    json_t* content = json_object_get(root.get(), "message");
    if (!type || (*type != "notification" && *type != "event" && *type != "command")) {
        error = "a push needs \"type\": \"notification\", \"event\" or \"command\"";
        return false;
    }
    if (!json_is_object(content)) {
        error = "a push needs \"message\": the JSON object to deliver";
        return false;
    }
    message.type = *type;
    message.text = DumpJson(content);
    if (json_t* target = json_object_get(root.get(), "target")) {
        const auto app = StringMember(target, "app_id");
        const auto device = StringMember(target, "device_id");
        if (!app || !device) {
            error = "a push's \"target\" needs the strings app_id and device_id";
            return false;
        }
        message.targetAppId = *app;
        message.targetDeviceId = *device;
    }
    return true;
}

PushHub::PushHub(Store& store, PushLimits limits) : m_store(store), m_limits(limits) {}

std::int64_t PushHub::Open(const Registration& registration, std::string& error) {
    if (registration.channel != "secure_web") {
        error = "unknown channel \"" + registration.channel + "\"";
        return 0;
    }
    if (registration.type.empty()) {
        error = "a registration needs a type";
        return 0;
    }
    if (!m_store.FindAccount(registration.userToken)) {
        error = "unknown user token";
        return 0;
    }
    std::lock_guard lock(m_mutex);
    if (m_stopping) {
        error = "the emulator is stopping";
        return 0;
    }
    const auto open = std::count_if(m_sessions.begin(), m_sessions.end(),
                                    [](const auto& each) { return !each.second.closed; });
    if (static_cast<std::size_t>(open) >= m_limits.maxSessions) {
        error = "too many push sessions (at most " + std::to_string(m_limits.maxSessions) + ")";
        return 0;
    }
    const std::int64_t id = ++m_nextId;
    m_sessions[id].registration = registration;
    JsonPtr detail(json_pack(
        "{s:s, s:s, s:s, s:s, s:{s:s, s:s}}", "user_token", registration.userToken.c_str(),
        "app_id", registration.appId.c_str(), "device_id", registration.deviceId.c_str(), "type",
        registration.type.c_str(), "target", "app_id", registration.targetAppId.c_str(),
        "device_id", registration.targetDeviceId.c_str()));
    m_store.Record("register", SessionSubject(id, registration), DumpJson(detail.get()));
    return id;
}

PushHub::Batch PushHub::Take(std::int64_t id, std::chrono::milliseconds wait) {
    Batch batch;
    std::unique_lock lock(m_mutex);
    auto found = m_sessions.find(id);
    if (found == m_sessions.end()) {
        batch.unknown = true;
        return batch;
    }
    if (found->second.waiting) {
        batch.busy = true;
        return batch;
    }
    Session& session = found->second;
    session.waiting = true;
    m_changed.wait_for(lock, std::min(wait, m_limits.maxWait),
                       [&] { return session.closed || !session.queue.empty(); });
    session.waiting = false;
    for (auto& text : session.queue) {
        m_store.Record("delivery", SessionSubject(id, session.registration), text);
        batch.messages.push_back(std::move(text));
    }
    session.queue.clear();
    batch.closed = session.closed;
    if (session.closed) {
        m_sessions.erase(found);
    }
    return batch;
}

bool PushHub::Close(std::int64_t id) {
    std::lock_guard lock(m_mutex);
    auto found = m_sessions.find(id);
    if (found == m_sessions.end() || found->second.closed) {
        return false;
    }
    m_store.Record("unregister", SessionSubject(id, found->second.registration), "{}");
    // Kept until its client's next wait learns that it ended: a client may be between two waits
    // when it closes the session, and must not find it unknown then.
    found->second.closed = true;
    found->second.queue.clear();
    ForgetClosedBeyondBound();
    m_changed.notify_all();
    return true;
}

void PushHub::ForgetClosedBeyondBound() {
    std::size_t closed = 0;
    for (const auto& [id, session] : m_sessions) {
        closed += session.closed ? 1 : 0;
    }
    for (auto found = m_sessions.begin();
         found != m_sessions.end() && closed > m_limits.maxSessions;) {
        if (found->second.closed && !found->second.waiting) {
            found = m_sessions.erase(found);
            --closed;
        } else {
            ++found;
        }
    }
}

PushHub::Posted PushHub::Post(const PushMessage& message) {
    const std::string type = message.type == "command" ? "event" : message.type;
    Posted posted;
    std::lock_guard lock(m_mutex);
    for (auto& [id, session] : m_sessions) {
        const Registration& wanted = session.registration;
        if (session.closed || wanted.type != type ||
            !Matches(wanted.targetAppId, message.targetAppId) ||
            !Matches(wanted.targetDeviceId, message.targetDeviceId)) {
            continue;
        }
        if (session.queue.size() >= m_limits.maxQueued) {
            ++posted.dropped;
            continue;
        }
        session.queue.push_back(message.text);
        ++posted.deliveredTo;
    }
    JsonPtr detail(json_pack("{s:s, s:{s:s, s:s}, s:o, s:I, s:I}", "type", message.type.c_str(),
                             "target", "app_id", message.targetAppId.c_str(), "device_id",
                             message.targetDeviceId.c_str(), "message",
                             ParseJson(message.text).release(), "queued_for",
                             static_cast<json_int_t>(posted.deliveredTo), "dropped",
                             static_cast<json_int_t>(posted.dropped)));
    m_store.Record("push",
                   message.type + " to " + message.targetAppId + "/" + message.targetDeviceId,
                   DumpJson(detail.get()));
    m_changed.notify_all();
    return posted;
}

void PushHub::CloseAll() {
    std::lock_guard lock(m_mutex);
    m_stopping = true;
    for (auto& [id, session] : m_sessions) {
        session.closed = true;
        session.queue.clear();
    }
    m_changed.notify_all();
}

} // namespace devkit::cloud
