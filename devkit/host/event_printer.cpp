#include "devkit/host/event_printer.h"

#include "devkit/host/json_text.h"

#include <exception>

namespace devkit::host {

std::string EventPrinter::EventLine(const wchar_t* name, const cv::Value& data) {
    return "{\"event\":" + JsonString(name) + ",\"data\":" + ValueToJsonText(data) + "}";
}

bool EventPrinter::AwaitEvent(const std::wstring& name, std::chrono::seconds limit) {
    std::unique_lock lock(m_mutex);
    if (!m_arrived.wait_for(lock, limit, [&] { return m_unclaimed[name] > 0; })) {
        return false;
    }
    --m_unclaimed[name];
    return true;
}

void EventPrinter::OnEvent(const wchar_t* name, const cv::Value& data) {
    ++m_count;
    // An exception must not reach the agent's firing code: it would leave its lock held.
    try {
        m_console.Line(EventLine(name, data));
    } catch (const std::exception& failure) {
        try {
            m_console.Error(std::string("cannot print an event: ") + failure.what());
        } catch (...) {
        }
    } catch (...) {
    }
    try {
        std::lock_guard lock(m_mutex);
        ++m_unclaimed[name != nullptr ? name : L""];
        m_arrived.notify_all();
    } catch (...) {
    }
}

} // namespace devkit::host
