// The dev kit's cloud emulator (see README.md): serves the cloud services, push and the
// telemetry sink on loopback until SIGINT or SIGTERM.
#include "devkit/cloud/emulator_address.h"
#include "devkit/cloud/emulator_options.h"
#include "devkit/cloud/emulator_server.h"
#include "devkit/cloud/push_hub.h"
#include "devkit/cloud/store.h"
#include "devkit/common/devkit_home.h"

#include <csignal>
#include <cstdio>
#include <thread>

#include <pthread.h>
#include <unistd.h>

namespace {

using namespace devkit::cloud;

int Fail(const std::string& message) {
    std::fprintf(stderr, "cloudemu: %s\n", message.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    std::string error;
    const auto options = ParseEmulatorOptions({argv + 1, argv + argc}, devkit::DevkitHome(), error);
    if (!options) {
        std::fprintf(stderr, "cloudemu: %s\n%s", error.c_str(), kEmulatorUsage);
        return 2;
    }

    // Blocked before any thread starts, so only the waiter below receives them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    std::error_code ignored;
    std::filesystem::create_directories(options->store.parent_path(), ignored);
    auto store = Store::Open(options->store, SystemClock(), error);
    if (!store) {
        return Fail(error);
    }
    if (options->seed) {
        std::string text;
        if (!devkit::ReadWholeFile(*options->seed, text)) {
            return Fail("cannot read the seed " + options->seed->string());
        }
        if (!store->Seed(text, error)) {
            return Fail("the seed " + options->seed->string() + ": " + error);
        }
    }

    PushHub hub(*store);
    EmulatorServer server(*store, hub);
    if (!server.Bind(options->host, options->port, error)) {
        return Fail(error);
    }
    const auto addressFile = EmulatorAddressFile(options->home);
    if (!WriteEmulatorAddress(addressFile, server.Url(), static_cast<long>(getpid()), error)) {
        return Fail(error);
    }
    std::printf("cloudemu: serving %s (inspection page %s/, store %s, address in %s)\n",
                server.Url().c_str(), server.Url().c_str(), options->store.string().c_str(),
                addressFile.string().c_str());
    std::fflush(stdout);

    std::thread stopper([&] {
        int received = 0;
        sigwait(&stopSignals, &received);
        server.Stop();
    });
    const bool served = server.Serve();
    // Wakes the waiter when serving ended on its own.
    kill(getpid(), SIGTERM);
    stopper.join();
    RemoveEmulatorAddress(addressFile, server.Url());
    if (!served) {
        return Fail("serving on " + server.Url() + " failed");
    }
    std::printf("cloudemu: stopped\n");
    return 0;
}
