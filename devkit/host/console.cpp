#include "devkit/host/console.h"

namespace devkit::host {

void Console::Line(const std::string& text) {
    Write(m_out, text + "\n");
}

void Console::Text(const std::string& text) {
    Write(m_out, text);
}

void Console::Error(const std::string& text) {
    Write(m_err, "host: " + text + "\n");
}

void Console::Warning(const std::string& text) {
    Write(m_err, "host: warning: " + text + "\n");
}

void Console::Write(std::ostream& stream, const std::string& text) {
    std::lock_guard lock(m_mutex);
    stream << text;
    stream.flush();
}

} // namespace devkit::host
