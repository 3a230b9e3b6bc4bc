// The push side of the emulator: sessions that clients open with a registration and then hold
// by waiting for messages, and messages posted with a type and a target, delivered to every
// matching session once.
//
// A message matches a session when the types are equal (a "command" travels as an "event", as
// commands do) and the target's app_id and device_id each equal the session's target or either
// side says "all". Bounded: at most `maxSessions` sessions, `maxQueued` waiting messages each
// (more are dropped and counted), one waiter per session, and no wait longer than `maxWait`.
// Thread-safe; everything is recorded in the store's timeline.
#pragma once

#include "devkit/cloud/store.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace devkit::cloud {

inline constexpr const char* kAllTargets = "all";

struct Registration {
    std::string userToken;
    std::string appId;
    std::string deviceId;
    std::string type;
    std::string channel;
    std::string targetAppId;
    std::string targetDeviceId;
};

struct PushMessage {
    std::string type; // "notification", "event" or "command"
    std::string targetAppId = kAllTargets;
    std::string targetDeviceId = kAllTargets;
    std::string text; // the message's JSON text, handed over as it is
};

struct PushLimits {
    std::size_t maxSessions = 16;
    std::size_t maxQueued = 256;
    std::chrono::milliseconds maxWait{30000};
};

// The wire forms (see README.md); false with a readable `error` when the body does not fit.
bool ParseRegistration(const std::string& body, Registration& registration, std::string& error);
bool ParsePushMessage(const std::string& body, PushMessage& message, std::string& error);

class PushHub {
public:
    explicit PushHub(Store& store, PushLimits limits = {});

    // A new session's id, or 0 with a readable `error` (unknown token or channel, too many).
    std::int64_t Open(const Registration& registration, std::string& error);

    struct Batch {
        std::vector<std::string> messages;
        bool closed = false;  // the session has ended; nothing more will come
        bool unknown = false; // no such session
        bool busy = false;    // another waiter holds the session
    };
    // The session's waiting messages; when there are none, waits up to `wait` (capped) for one.
    Batch Take(std::int64_t id, std::chrono::milliseconds wait);

    // Ends a session and wakes its waiter; the next Take learns that it ended (closed), later
    // ones find it unknown. False for an unknown or ended one.
    bool Close(std::int64_t id);

    struct Posted {
        std::size_t deliveredTo = 0;
        std::size_t dropped = 0;
    };
    Posted Post(const PushMessage& message);

    // Ends every session and refuses new ones, so no waiter holds up a stopping server.
    void CloseAll();

private:
    // Drops ended sessions that no client came back for, beyond as many as may be open.
    void ForgetClosedBeyondBound();

    struct Session {
        Registration registration;
        std::deque<std::string> queue;
        bool closed = false;
        bool waiting = false;
    };

    Store& m_store;
    const PushLimits m_limits;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::int64_t, Session> m_sessions;
    std::int64_t m_nextId = 0;
    bool m_stopping = false;
};

} // namespace devkit::cloud
