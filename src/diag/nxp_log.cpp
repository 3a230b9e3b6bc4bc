#include "diag/nxp_log.h"

#include "nexilo/cv_string.h"

#include <algorithm>
#include <cstdarg>

namespace logging {
namespace {

std::wstring Cut(const cv::StringW& text, std::uint32_t limit) {
    return std::wstring(text.GetString(), std::min(text.GetLength(), limit));
}

} // namespace

void Log::Init(Sink sink, std::wstring name) {
    m_sink = std::move(sink);
    m_name = std::move(name);
}

void Log::LogInfo(const wchar_t* format, ...) {
    // Formatting grows its buffer and is cut afterwards, so the cut falls at the same character
    // on every system whatever the C runtime does with a short buffer.
    cv::StringW formatted;
    std::va_list args;
    va_start(args, format);
    cv::StringW::FormatV(formatted, format, args);
    va_end(args);
    std::wstring message = Cut(formatted, kMessageLimit);

    cv::StringW line;
    cv::StringW::Format(line, 0, L"[%s][%s][%d] %s", m_name.c_str(), L"Log::LogInfo", 23,
                        message.c_str());
    m_sink(Cut(line, kLineLimit));
}

} // namespace logging
