#include "diag/function_tracer.h"

#include "diag/log_binding.h"
#include "platform/monotonic_clock.h"

#include <atomic>

namespace logging {
namespace {

constinit std::atomic<FunctionTracer::Clock> g_clock{nullptr};

std::uint32_t Now() noexcept {
    FunctionTracer::Clock clock = g_clock.load(std::memory_order_relaxed);
    return clock != nullptr ? clock() : platform::MonotonicMs32();
}

// Copies at most `limit` characters and terminates; the rest of the text is dropped.
void CopyCut(wchar_t* out, const wchar_t* text, std::uint32_t limit) noexcept {
    std::uint32_t i = 0;
    if (text != nullptr) {
        for (; i < limit && text[i] != 0; ++i) {
            out[i] = text[i];
        }
    }
    out[i] = 0;
}

void WriteLine(std::int32_t depthChange, const wchar_t* name, const wchar_t* format,
               const wchar_t* label, std::int32_t elapsed) {
    LogHandle handle;
    CLogDLL* log = handle.Acquire();
    if (log == nullptr) {
        log = handle.Acquire();
    }
    if (log != nullptr) {
        const std::uint32_t level = kLogLevelTrace;
        log->LogWrite(depthChange, &level, log->m_self, name, format, label, elapsed);
    }
}

} // namespace

void FunctionTracer::SetClockForTesting(Clock clock) noexcept {
    g_clock.store(clock);
}

FunctionTracer::FunctionTracer(const wchar_t* name) : m_start(Now()) {
    CopyCut(m_label, name, kLabelLimit);
    std::uint32_t end = 0;
    while (m_label[end] != 0) {
        ++end;
    }
    m_label[end] = L'(';
    m_label[end + 1] = L')';
    m_label[end + 2] = 0;
    CopyCut(m_name, name, kNameLimit);
    WriteLine(+1, m_name, L"-> %s", m_label, 0);
}

FunctionTracer::~FunctionTracer() {
    auto elapsed = static_cast<std::int32_t>(Now() - m_start);
    WriteLine(-1, m_name, L"<- %s [%d]", m_label, elapsed);
}

} // namespace logging
