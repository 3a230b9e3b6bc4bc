#include "process/process_log.h"

#include "diag/log_binding.h"

namespace process {

namespace {

class DiagSink final : public LogSink {
public:
    void Write(const LogLine& line) override {
        if (line.text && line.number) {
            NX_LOG(line.level, line.function, line.format, line.text->c_str(), *line.number);
        } else if (line.text) {
            NX_LOG(line.level, line.function, line.format, line.text->c_str());
        } else if (line.number) {
            NX_LOG(line.level, line.function, line.format, *line.number);
        } else {
            NX_LOG(line.level, line.function, line.format);
        }
    }
};

} // namespace

LogSink& DiagLogSink() noexcept {
    static DiagSink sink;
    return sink;
}

} // namespace process
