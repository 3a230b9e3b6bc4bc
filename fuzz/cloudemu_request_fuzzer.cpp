// Arbitrary bodies through the cloud emulator's request handling, as they arrive from the wire:
// the JSON-RPC services, push registrations and postings, and the telemetry sink, over one
// seeded store. The first byte picks the route. Beyond staying clean under the sanitizers, every
// JSON-RPC answer must be one JSON object with exactly one of "result" and "error".
#include "devkit/cloud/json_ptr.h"
#include "devkit/cloud/push_hub.h"
#include "devkit/cloud/rpc_service.h"
#include "devkit/cloud/store.h"
#include "devkit/cloud/telemetry_sink.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace devkit::cloud;

Store& SeededStore() {
    static std::unique_ptr<Store> store = [] {
        std::string error;
        auto opened = Store::Open(
            ":memory:", [] { return std::int64_t{0}; }, error);
        opened->Seed(R"({"accounts": [{"user_token": "T", "devices": [{"device_id": "D"}]}]})",
                     error);
        return opened;
    }();
    return *store;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    Store& store = SeededStore();
    const std::string body(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 6) {
        case 0:
        case 1:
        case 2: {
            const char* services[] = {"nexilo/user_info", "nexilo/device_mgmt", "nexilo/ping"};
            const std::string reply = AnswerRpc(store, {services[data[0] % 3], body, "5000", "1"});
            JsonPtr parsed = ParseJson(reply);
            const bool hasResult = json_object_get(parsed.get(), "result") != nullptr;
            const bool hasError = json_object_get(parsed.get(), "error") != nullptr;
            if (!json_is_object(parsed.get()) || hasResult == hasError) {
                std::abort();
            }
            break;
        }
        case 3: {
            PushHub hub(store, {2, 2, std::chrono::milliseconds(0)});
            Registration registration;
            std::string error;
            if (ParseRegistration(body, registration, error)) {
                const auto id = hub.Open(registration, error);
                hub.Post({registration.type, registration.targetAppId, registration.targetDeviceId,
                          "{}"});
                hub.Take(id, std::chrono::milliseconds(0));
            }
            break;
        }
        case 4: {
            PushHub hub(store);
            PushMessage message;
            std::string error;
            if (ParsePushMessage(body, message, error)) {
                hub.Post(message);
            }
            break;
        }
        default: {
            std::string error;
            AcceptTelemetry(store, body, error);
            break;
        }
    }
    return 0;
}
