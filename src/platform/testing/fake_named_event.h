// Named events that a test drives: it signals as another process would, lets a timed wait run
// out without anyone waiting for the clock, and sees every wait with its time-out. All events
// made by one FakeNamedEvents are one event, whatever the name. Thread-safe.
#pragma once

#include "platform/named_event.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace platform_testing {

class FakeNamedEvents final : public platform::NamedEvents {
public:
    platform::NamedEventResult CreateOrOpen(const std::wstring& name) override {
        std::lock_guard lock(m_state->mutex);
        m_state->names.push_back(name);
        platform::NamedEventResult result;
        if (failAt != platform::NamedEventStage::kDone) {
            result.failedAt = failAt;
            result.error = failure;
            return result;
        }
        result.event = std::make_unique<Handle>(m_state);
        return result;
    }

    // Sets the event, as the node service does.
    void Signal() { m_state->Set(); }

    // The next wait with a time-out (one that runs now, or the next to come) times out.
    void ElapseTimeout() {
        std::lock_guard lock(m_state->mutex);
        ++m_state->timeouts;
        m_state->changed.notify_all();
    }

    // Blocks until `count` waits have begun; false after a time-out that only a broken build
    // reaches.
    bool AwaitWaits(std::size_t count) {
        std::unique_lock lock(m_state->mutex);
        return m_state->changed.wait_for(lock, std::chrono::seconds(30),
                                         [&] { return m_state->waits.size() >= count; });
    }

    // The time-out of each wait so far, in order.
    std::vector<std::uint32_t> Waits() const {
        std::lock_guard lock(m_state->mutex);
        return m_state->waits;
    }
    std::vector<std::wstring> Names() const {
        std::lock_guard lock(m_state->mutex);
        return m_state->names;
    }
    int Sets() const {
        std::lock_guard lock(m_state->mutex);
        return m_state->sets;
    }

    // Makes CreateOrOpen fail at that step with that error.
    platform::NamedEventStage failAt = platform::NamedEventStage::kDone;
    platform::ErrorCode failure = platform::kErrorAccessDenied;

private:
    struct State {
        void Set() {
            std::lock_guard lock(mutex);
            set = true;
            ++sets;
            changed.notify_all();
        }

        mutable std::mutex mutex;
        std::condition_variable changed;
        bool set = false;
        int sets = 0;
        int timeouts = 0;
        std::vector<std::uint32_t> waits;
        std::vector<std::wstring> names;
    };

    class Handle final : public platform::NamedEvent {
    public:
        explicit Handle(std::shared_ptr<State> state) : m_state(std::move(state)) {}

        bool Set() override {
            m_state->Set();
            return true;
        }
        std::uint32_t Wait(std::uint32_t timeoutMs) override {
            std::unique_lock lock(m_state->mutex);
            m_state->waits.push_back(timeoutMs);
            m_state->changed.notify_all();
            const bool timed = timeoutMs != platform::kWaitInfinite;
            m_state->changed.wait(lock,
                                  [&] { return m_state->set || (timed && m_state->timeouts > 0); });
            if (m_state->set) {
                m_state->set = false;
                return platform::kWaitSignalled;
            }
            --m_state->timeouts;
            return platform::kWaitTimedOut;
        }

    private:
        std::shared_ptr<State> m_state;
    };

    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace platform_testing
