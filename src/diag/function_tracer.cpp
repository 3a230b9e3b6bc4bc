#include "diag/function_tracer.h"

namespace logging {
namespace {

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

} // namespace

FunctionTracer::FunctionTracer(const wchar_t* name, LogSink* sink, Clock clock)
    : m_start(clock()), m_sink(sink), m_clock(clock) {
    CopyCut(m_label, name, kLabelLimit);
    std::uint32_t end = 0;
    while (m_label[end] != 0) {
        ++end;
    }
    m_label[end] = L'(';
    m_label[end + 1] = L')';
    m_label[end + 2] = 0;
    CopyCut(m_name, name, kNameLimit);
    WriteLine(+1, L"-> %s", 0);
}

FunctionTracer::~FunctionTracer() {
    WriteLine(-1, L"<- %s [%d]", static_cast<std::int32_t>(m_clock() - m_start));
}

void FunctionTracer::WriteLine(std::int32_t depthChange, const wchar_t* format,
                               std::int32_t elapsed) {
    // The entry format has no %d: the extra argument is ignored, as printf ignores it.
    const wchar_t* label = m_label;
    if (m_sink != nullptr) {
        WriteToSink(*m_sink, kLogLevelTrace, depthChange, m_name, format, label, elapsed);
    } else {
        WriteToModule(kLogLevelTrace, depthChange, m_name, format, label, elapsed);
    }
}

} // namespace logging
