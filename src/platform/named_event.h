// A named event that every process of every user on the machine can create, open, set and wait
// on: how the account node service tells the agent that the signed-in user changed.
//
// Contract:
// - NamedEvents::CreateOrOpen(name) gives the event of that name, creating it unset when nobody
//   holds it. The event is auto-reset: one wait that returns kWaitSignalled consumes it, and
//   sets that come before a wait collapse into one wake. Whoever creates it fixes its kind.
// - Everybody may use it: on Windows it is made with a security descriptor whose DACL is present
//   and null; on POSIX the object's mode is set to 0666 after creation, since the creator's umask
//   would otherwise narrow it.
// - NamedEvent::Wait(timeoutMs) answers kWaitSignalled, kWaitTimedOut or kWaitFailed, the
//   numbers of WaitForSingleObject; kWaitInfinite waits without limit. Time-outs run on a
//   monotonic clock. Set wakes one waiter: two waiters on one name steal each other's wakes.
// - Names have the Windows form, "Global\{GUID}". On POSIX the object is a named semaphore; its
//   name is the text after the last backslash, led by "/nexilo." (so it lives in /dev/shm as
//   "sem.nexilo.{GUID}" on Linux, mode 0666) and it stays until DiscardNamedEvent removes it.
// - Set and Wait may be called from several threads at once on one object.
#pragma once

#include "platform/error_codes.h"

#include <cstdint>
#include <memory>
#include <string>

namespace platform {

inline constexpr std::uint32_t kWaitSignalled = 0;         // WAIT_OBJECT_0
inline constexpr std::uint32_t kWaitTimedOut = 258;        // WAIT_TIMEOUT
inline constexpr std::uint32_t kWaitFailed = 0xFFFFFFFF;   // WAIT_FAILED
inline constexpr std::uint32_t kWaitInfinite = 0xFFFFFFFF; // INFINITE

class NamedEvent {
public:
    virtual ~NamedEvent() = default;

    // False when the system refuses.
    virtual bool Set() = 0;
    virtual std::uint32_t Wait(std::uint32_t timeoutMs) = 0;
};

// Which step of the creation failed; the agent names each in its own words.
enum class NamedEventStage { kDone, kSecurityDescriptor, kSecurityDacl, kCreate };

struct NamedEventResult {
    std::unique_ptr<NamedEvent> event; // null on failure
    NamedEventStage failedAt = NamedEventStage::kDone;
    ErrorCode error = kErrorSuccess;
};

class NamedEvents {
public:
    virtual ~NamedEvents() = default;

    virtual NamedEventResult CreateOrOpen(const std::wstring& name) = 0;
};

// The system's named events; lives as long as the process.
NamedEvents& SystemNamedEvents();

// POSIX: removes the name, so the next CreateOrOpen makes a fresh object (handles already open
// keep working). Windows: nothing, the object goes with its last handle. For tests and tools that
// used a private name.
void DiscardNamedEvent(const std::wstring& name);

} // namespace platform
