#include "devkit/cloud/emulator_options.h"

#include <charconv>

namespace devkit::cloud {

const char* const kEmulatorUsage =
    "usage: cloudemu [--host=H] [--port=N] [--home=DIR] [--store=FILE] [--seed=FILE]\n";

std::optional<EmulatorOptions> ParseEmulatorOptions(const std::vector<std::string>& arguments,
                                                    const std::filesystem::path& defaultHome,
                                                    std::string& error) {
    EmulatorOptions options;
    std::optional<std::filesystem::path> store;
    for (const std::string& argument : arguments) {
        const auto equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : argument.substr(equals + 1);
        if (equals == std::string::npos || value.empty()) {
            error = "expected --option=value, got \"" + argument + "\"";
            return std::nullopt;
        }
        if (name == "--host") {
            options.host = value;
        } else if (name == "--port") {
            const auto [end, failure] =
                std::from_chars(value.data(), value.data() + value.size(), options.port);
            if (failure != std::errc() || end != value.data() + value.size() || options.port < 0 ||
                options.port > 65535) {
                error = "--port takes a number from 0 to 65535, got \"" + value + "\"";
                return std::nullopt;
            }
        } else if (name == "--home") {
            options.home = value;
        } else if (name == "--store") {
            store = value;
        } else if (name == "--seed") {
            options.seed = value;
        } else {
            error = "unknown option \"" + name + "\"";
            return std::nullopt;
        }
    }
    if (options.home.empty()) {
        options.home = defaultHome;
    }
    options.store = store.value_or(options.home / "cloud" / "emulator.db");
    return options;
}

} // namespace devkit::cloud
