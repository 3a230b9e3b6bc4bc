#include "devkit/nodeservice/node_service.h"

#include "devkit/common/error_message.h"
#include "devkit/nodectl/node_state.h"

#include <map>
#include <random>

namespace devkit::nodeservice {

namespace {

Outcome Fail(int exitCode, const std::string& message) {
    Outcome outcome;
    outcome.exitCode = exitCode;
    outcome.error = "ProductNodeService: " + message + "\n";
    return outcome;
}

std::string Usage() {
    return "usage: ProductNodeService login|switch_account [--user_token=T] [--device_id=D]\n"
           "       ProductNodeService logout";
}

// A fresh identifier: each sign-in gets a token and device of its own, as the real service's do.
std::string RandomHex(std::size_t digits) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::random_device device;
    std::uniform_int_distribution<int> pick(0, 15);
    std::string text;
    for (std::size_t i = 0; i < digits; ++i) {
        text += kDigits[pick(device)];
    }
    return text;
}

} // namespace

Outcome RunNodeService(const std::vector<std::string>& args, const std::filesystem::path& stateFile,
                       platform::NamedEvents& events, const std::wstring& eventName) {
    if (args.empty()) {
        return Fail(kExitUsage, "no word\n" + Usage());
    }
    const std::string& word = args[0];
    const bool signsIn = word == "login" || word == "switch_account";
    if (!signsIn && word != "logout") {
        return Fail(kExitUsage, "unknown word \"" + word + "\"\n" + Usage());
    }
    std::map<std::string, std::string> options;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const std::size_t equals = arg.find('=');
        const std::string name = equals == std::string::npos ? arg : arg.substr(0, equals);
        if (!signsIn || (name != "--user_token" && name != "--device_id") ||
            equals == std::string::npos || equals + 1 == arg.size()) {
            return Fail(kExitUsage, word + " takes no option \"" + arg + "\"\n" + Usage());
        }
        if (!options.emplace(name, arg.substr(equals + 1)).second) {
            return Fail(kExitUsage, "option " + name + " given twice");
        }
    }

    nodectl::NodeState state;
    std::string error;
    if (!state.Load(stateFile, error)) {
        return Fail(kExitStateFile, error + " (left as it is)");
    }
    Outcome outcome;
    if (signsIn) {
        const std::string token =
            options.count("--user_token") ? options["--user_token"] : "token-" + RandomHex(32);
        const std::string device =
            options.count("--device_id") ? options["--device_id"] : "device-" + RandomHex(16);
        json_t* user =
            json_pack("{s:s, s:s}", "user_token", token.c_str(), "device_id", device.c_str());
        if (user == nullptr) {
            return Fail(kExitUsage, "options must be UTF-8 text");
        }
        json_object_set_new(state.Root(), "user", user);
        outcome.output = word + ": user_token " + token + ", device_id " + device + "\n";
    } else {
        json_object_del(state.Root(), "user");
        outcome.output = "logout: nobody is signed in\n";
    }
    if (!state.Save(stateFile, error)) {
        return Fail(kExitStateFile, error);
    }

    platform::NamedEventResult opened = events.CreateOrOpen(eventName);
    if (!opened.event) {
        return Fail(kExitSignal,
                    "the state is written, but the user-changed event can't be made: " +
                        DescribeError(opened.error));
    }
    if (!opened.event->Set()) {
        return Fail(kExitSignal, "the state is written, but the user-changed event can't be set");
    }
    return outcome;
}

} // namespace devkit::nodeservice
