#include "platform/named_event.h"

#include "platform/utf8.h"

#include <fcntl.h>
#include <semaphore.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>

namespace platform {

namespace {

// Whoever may write the node state may signal: the analogue of the null DACL.
constexpr mode_t kEveryone = 0666;

std::string SemaphoreName(const std::wstring& name) {
    const std::size_t slash = name.find_last_of(L'\\');
    return "/nexilo." + WideToUtf8(slash == std::wstring::npos ? name : name.substr(slash + 1));
}

class PosixNamedEvent final : public NamedEvent {
public:
    explicit PosixNamedEvent(sem_t* semaphore) : m_semaphore(semaphore) {}
    ~PosixNamedEvent() override { sem_close(m_semaphore); }

    bool Set() override {
        int value = 0;
        // A count above one would only give later waits wakes that nobody asked for.
        if (sem_getvalue(m_semaphore, &value) == 0 && value > 0) {
            return true;
        }
        return sem_post(m_semaphore) == 0;
    }

    std::uint32_t Wait(std::uint32_t timeoutMs) override {
        int result = 0;
        if (timeoutMs == kWaitInfinite) {
            do {
                result = sem_wait(m_semaphore);
            } while (result != 0 && errno == EINTR);
        } else {
            timespec deadline{};
            clock_gettime(CLOCK_MONOTONIC, &deadline);
            deadline.tv_sec += timeoutMs / 1000;
            deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1'000'000;
            if (deadline.tv_nsec >= 1'000'000'000) {
                deadline.tv_sec += 1;
                deadline.tv_nsec -= 1'000'000'000;
            }
            do {
                result = sem_clockwait(m_semaphore, CLOCK_MONOTONIC, &deadline);
            } while (result != 0 && errno == EINTR);
            if (result != 0 && errno == ETIMEDOUT) {
                return kWaitTimedOut;
            }
        }
        if (result != 0) {
            return kWaitFailed;
        }
        // An auto-reset event is either set or not: posts that raced with Set's check go too.
        while (sem_trywait(m_semaphore) == 0) {
        }
        return kWaitSignalled;
    }

private:
    sem_t* m_semaphore;
};

class PosixNamedEvents final : public NamedEvents {
public:
    NamedEventResult CreateOrOpen(const std::wstring& name) override {
        NamedEventResult result;
        const std::string semaphoreName = SemaphoreName(name);
        sem_t* semaphore = sem_open(semaphoreName.c_str(), O_CREAT, kEveryone, 0u);
        if (semaphore == SEM_FAILED) {
            result.failedAt = NamedEventStage::kCreate;
            result.error = MapErrno(errno);
            return result;
        }
        // The umask applied at creation; the file may belong to another user, which is fine.
        chmod(("/dev/shm/sem." + semaphoreName.substr(1)).c_str(), kEveryone);
        result.event = std::make_unique<PosixNamedEvent>(semaphore);
        return result;
    }
};

} // namespace

NamedEvents& SystemNamedEvents() {
    static PosixNamedEvents events;
    return events;
}

void DiscardNamedEvent(const std::wstring& name) {
    sem_unlink(SemaphoreName(name).c_str());
}

} // namespace platform
