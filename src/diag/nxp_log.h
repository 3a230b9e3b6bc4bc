// logging::Log: hands formatted text to a sink chosen by its owner (the cloud classes use it).
//
// Contract: Init sets the sink and the name in one call. LogInfo formats the message (the
// Windows convention of cv::StringW's formats), cuts it to 1022 characters, builds the line
// "[name][Log::LogInfo][23] message" (the function name and number are fixed texts), cuts that
// to 1534 characters and calls the sink with it. A Log without a sink throws
// std::bad_function_call. Not synchronised: Init before use, then LogInfo from any thread as the
// sink allows.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace logging {

class Log {
public:
    static constexpr std::uint32_t kMessageLimit = 1022;
    static constexpr std::uint32_t kLineLimit = 1534;

    using Sink = std::function<void(const std::wstring&)>;

    void Init(Sink sink, std::wstring name);
    void LogInfo(const wchar_t* format, ...);

private:
    Sink m_sink;
    std::wstring m_name;
};

} // namespace logging
