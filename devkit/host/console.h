// The host's two output streams: machine-readable lines on standard output (one JSON object a
// line: steps, command results, events) and messages for people on standard error.
//
// Contract: each call writes one whole line, flushed, and lines from different threads never
// interleave (events arrive on the agent's threads while commands print on the main thread).
// The streams belong to the caller and must outlive the console. Never throws on a failed
// write: the stream's state tells.
#pragma once

#include <mutex>
#include <ostream>
#include <string>

namespace devkit::host {

class Console {
public:
    Console(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // One line of output, without its line end.
    void Line(const std::string& text);
    // Text of several lines to the output as it stands (the help).
    void Text(const std::string& text);
    // "host: <text>" on the error stream.
    void Error(const std::string& text);
    // "host: warning: <text>" on the error stream.
    void Warning(const std::string& text);

private:
    void Write(std::ostream& stream, const std::string& text);

    std::mutex m_mutex;
    std::ostream& m_out;
    std::ostream& m_err;
};

} // namespace devkit::host
