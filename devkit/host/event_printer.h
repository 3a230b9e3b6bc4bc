// The host's subscriber to the agent's events: prints each event as one output line,
//   {"event":"nexilo_user_changed","data":{"nexilo_success":true}}
//
// Contract: OnEvent runs on the agent's threads, never throws, and only reads the payload, which
// stays the agent's. Lines go through the Console, so they never split a command's line.
// AwaitEvent lets the main thread wait for an event by name: each event fired since the printer
// was made answers one AwaitEvent, whether it came before the wait or during it.
#pragma once

#include "devkit/host/console.h"
#include "nexilo/nexilo_agent_interface.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace devkit::host {

class EventPrinter final : public cv::hostkit::Nexilo::INexiloAgent::IEvents {
public:
    explicit EventPrinter(Console& console) : m_console(console) {}
    EventPrinter(const EventPrinter&) = delete;
    EventPrinter& operator=(const EventPrinter&) = delete;

    void OnEvent(const wchar_t* name, const cv::Value& data) override;

    std::uint64_t Count() const { return m_count.load(); }

    // True when an event of that name came that no earlier AwaitEvent took, within `limit`.
    bool AwaitEvent(const std::wstring& name, std::chrono::seconds limit);

    // The line printed for an event.
    static std::string EventLine(const wchar_t* name, const cv::Value& data);

private:
    Console& m_console;
    std::atomic<std::uint64_t> m_count{0};
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::map<std::wstring, std::uint64_t> m_unclaimed;
};

} // namespace devkit::host
