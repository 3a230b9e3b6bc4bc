// The emulator's command line:
//   cloudemu [--host=H] [--port=N] [--home=DIR] [--store=FILE] [--seed=FILE]
// --host     a loopback address to listen on (127.0.0.1)
// --port     the port, 0 to pick a free one (0)
// --home     the dev kit home whose cloud/emulator.json gets the address (the dev kit's home)
// --store    the SQLite store (HOME/cloud/emulator.db)
// --seed     a JSON file of accounts and devices to add to the store before serving
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace devkit::cloud {

struct EmulatorOptions {
    std::string host = "127.0.0.1";
    int port = 0;
    std::filesystem::path home;
    std::filesystem::path store;
    std::optional<std::filesystem::path> seed;
};

// The options, with the home and store filled in from `defaultHome` when not given; nullopt
// with a readable `error` for anything it does not understand.
std::optional<EmulatorOptions> ParseEmulatorOptions(const std::vector<std::string>& arguments,
                                                    const std::filesystem::path& defaultHome,
                                                    std::string& error);

extern const char* const kEmulatorUsage;

} // namespace devkit::cloud
