#include "devkit/cloud/telemetry_sink.h"

#include "devkit/cloud/json_ptr.h"

namespace devkit::cloud {

std::int64_t AcceptTelemetry(Store& store, const std::string& body, std::string& error) {
    JsonPtr event = ParseJson(body);
    const auto name = StringMember(event.get(), "name");
    if (!json_is_object(event.get()) || !name || name->empty()) {
        error = "an event is a JSON object with a non-empty string \"name\"";
        return 0;
    }
    const std::int64_t seq = store.Record("event", *name, DumpJson(event.get()));
    if (seq == 0) {
        error = "the store could not record the event";
    }
    return seq;
}

} // namespace devkit::cloud
