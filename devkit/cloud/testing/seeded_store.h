// An in-memory store for the emulator's tests, with two accounts of one device each and a clock
// that stands still.
#pragma once

#include "devkit/cloud/store.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace devkit_testing {

inline constexpr std::int64_t kFixedTimeMs = 1790000000000;

inline constexpr const char* kSeed = R"({"accounts": [
  {"user_token": "T1", "email": "ada@example.com", "firstname": "Ada", "lastname": "Lovelace",
   "fingerprint": "fp-1",
   "devices": [{"device_id": "D1", "app_id": "A", "display_name": "Ada's laptop"}]},
  {"user_token": "T2", "email": "bob@example.com",
   "devices": [{"device_id": "D2", "app_id": "A"}]}
]})";

inline std::unique_ptr<devkit::cloud::Store> SeededStore() {
    std::string error;
    auto store = devkit::cloud::Store::Open(
        ":memory:", [] { return kFixedTimeMs; }, error);
    EXPECT_NE(store, nullptr) << error;
    if (store) {
        EXPECT_TRUE(store->Seed(kSeed, error)) << error;
    }
    return store;
}

// The kinds of the timeline's entries, in order, as "a,b,c".
inline std::string Kinds(const devkit::cloud::Store& store) {
    std::string kinds;
    for (const auto& entry : store.Entries(0, 1000)) {
        kinds += (kinds.empty() ? "" : ",") + entry.kind;
    }
    return kinds;
}

} // namespace devkit_testing
