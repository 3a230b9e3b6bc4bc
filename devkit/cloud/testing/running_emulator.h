// An emulator serving on a free loopback port in the test's own process, over a seeded
// in-memory store, stopped when the object goes.
#pragma once

#include "devkit/cloud/emulator_server.h"
#include "devkit/cloud/push_hub.h"
#include "devkit/cloud/testing/seeded_store.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace devkit_testing {

class RunningEmulator {
public:
    explicit RunningEmulator(devkit::cloud::ServerLimits limits = {})
        : m_store(SeededStore()), m_hub(*m_store), m_server(*m_store, m_hub, limits) {
        std::string error;
        EXPECT_TRUE(m_server.Bind("127.0.0.1", 0, error)) << error;
        m_thread = std::thread([this] { m_server.Serve(); });
        // Connections made before listening starts would wait in the backlog anyway; this
        // only keeps the tests' first request from racing the start.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!m_server.Serving() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    }
    ~RunningEmulator() {
        m_server.Stop();
        m_thread.join();
    }
    RunningEmulator(const RunningEmulator&) = delete;
    RunningEmulator& operator=(const RunningEmulator&) = delete;

    devkit::cloud::Store& Store() { return *m_store; }
    devkit::cloud::EmulatorServer& Server() { return m_server; }
    std::string Url() const { return m_server.Url(); }

private:
    std::unique_ptr<devkit::cloud::Store> m_store;
    devkit::cloud::PushHub m_hub;
    devkit::cloud::EmulatorServer m_server;
    std::thread m_thread;
};

} // namespace devkit_testing
