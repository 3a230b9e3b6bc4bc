// A cloud reply parsed into a value and a request value dumped to text, each beside plain jansson
// doing the same work; the pairs are meant to be read as ratios.
#include "foundation/json.h"
#include "foundation/value_json.h"
#include "nexilo/cv_value.h"

#include <benchmark/benchmark.h>
#include <jansson.h>

#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kReply =
    R"({"jsonrpc": "2.0", "id": 1, "result": {"user_id": "u-20931", )"
    R"("email": "someone@example.com", "display_name": "Some One", "country": "DE", )"
    R"("fingerprint": "3f9a1c0e5b7d2f4a6c8e0b1d3f5a7c9e1b3d5f7a", "plan": "premium"}})";

constexpr const char* kRequestFields[][2] = {
    {"user_token", "c1d2e3f4a5b6c7d8e9f0a1b2c3d4e5f6a7b8c9d0e1f2a3b4c5d6e7f8a9b0c1d2"},
    {"app_id", "nexilo-agent"},
    {"device_id", "5a1b7c3d-9e2f-4a6b-8c0d-1e3f5a7b9c2d"},
};

void BM_ReplyToValue(benchmark::State& state) {
    for (auto _ : state) {
        cv::Json reply;
        reply.Parse(kReply, 0);
        cv::Value result = cv::ValueFromJson(reply.Get("result"));
        benchmark::DoNotOptimize(result.Size());
    }
}
BENCHMARK(BM_ReplyToValue);

void BM_ReplyToValue_PlainJansson(benchmark::State& state) {
    for (auto _ : state) {
        json_error_t error;
        json_t* reply = json_loads(kReply, 0, &error);
        json_t* result = json_object_get(reply, "result");
        const char* key;
        json_t* member;
        std::size_t bytes = 0;
        json_object_foreach(result, key, member) {
            bytes += std::strlen(key) + json_string_length(member);
        }
        benchmark::DoNotOptimize(bytes);
        json_decref(reply);
    }
}
BENCHMARK(BM_ReplyToValue_PlainJansson);

void BM_RequestToText(benchmark::State& state) {
    cv::Value request;
    cv::Value& source = request[L"nexilo_source"];
    for (const auto& field : kRequestFields) {
        cv::StringW key, value;
        cv::StringA(field[0]).FromUtf8(key);
        cv::StringA(field[1]).FromUtf8(value);
        source[key.GetString()] = value;
    }
    request[L"nexilo_version"] = 3;
    for (auto _ : state) {
        std::string text = cv::ValueToJson(request).Dump(0);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(BM_RequestToText);

void BM_RequestToText_PlainJansson(benchmark::State& state) {
    for (auto _ : state) {
        json_t* request = json_object();
        json_t* source = json_object();
        for (const auto& field : kRequestFields) {
            json_object_set_new(source, field[0], json_string(field[1]));
        }
        json_object_set_new(request, "nexilo_source", source);
        json_object_set_new(request, "nexilo_version", json_integer(3));
        char* text = json_dumps(request, 0);
        benchmark::DoNotOptimize(text);
        std::free(text);
        json_decref(request);
    }
}
BENCHMARK(BM_RequestToText_PlainJansson);

} // namespace
