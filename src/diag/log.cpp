#include "diag/log.h"

namespace logging {

void WriteToSink(LogSink& sink, std::uint32_t level, std::int32_t depthChange,
                 const wchar_t* function, const wchar_t* format, ...) {
    std::va_list args;
    va_start(args, format);
    sink.Write(level, depthChange, function, format, args);
    va_end(args);
}

} // namespace logging
