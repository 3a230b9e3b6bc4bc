#include "devkit/host/host_run.h"

#include "devkit/common/error_message.h"
#include "devkit/host/arguments.h"
#include "devkit/host/component_manager.h"
#include "devkit/host/event_printer.h"
#include "devkit/host/event_sink_plugin.h"
#include "devkit/host/export_commands.h"
#include "devkit/host/hk_settings_plugin.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/product_info_plugin.h"
#include "devkit/host/push_commands.h"
#include "nexilo/exports.h"
#include "nexilo/nexilo_agent_interface.h"
#include "nexilo/serv_plugin_interface.h"
#include "platform/module_loader.h"
#include "platform/utf8.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <system_error>

namespace devkit::host {

namespace {

using cv::hostkit::Nexilo::INexiloAgent;

std::string Signed(std::uint32_t code) {
    return std::to_string(static_cast<std::int32_t>(code));
}

std::string Narrow(const std::wstring& text) {
    return platform::WideToUtf8(text);
}

// The module path as given, made absolute against the current folder.
std::wstring ResolveModule(const HostArguments& arguments, const HostSetup& setup) {
    if (!arguments.module) {
        return setup.defaultModule;
    }
    std::filesystem::path given = PathFromWide(platform::Utf8ToWide(*arguments.module));
    std::error_code failure;
    std::filesystem::path absolute = std::filesystem::absolute(given, failure);
    return WidePath(failure ? given : absolute.lexically_normal());
}

// Loads the module, makes the agent, starts it, runs the commands, stops and destroys it.
int RunSession(const HostArguments& arguments, const std::wstring& modulePath, IServHost& host,
               EventPrinter& printer, Console& console) {
    const std::string moduleText = Narrow(modulePath);
    std::error_code failure;
    if (!std::filesystem::is_regular_file(PathFromWide(modulePath), failure)) {
        console.Error("no module at " + moduleText +
                      (arguments.module ? "" : " (build it, or name one with --module PATH)"));
        return kExitModuleMissing;
    }
    platform::ModuleResult loaded = platform::LoadModuleFile(modulePath);
    if (!loaded.module) {
        console.Error("cannot load the module " + moduleText + ": " +
                      devkit::DescribeError(loaded.error));
        return kExitModuleMissing;
    }
    auto create = reinterpret_cast<CvCreateObjectFn>(
        platform::FindExport(loaded.module.get(), kCvCreateObjectName).address);
    auto destroy = reinterpret_cast<CvDestroyObjectFn>(
        platform::FindExport(loaded.module.get(), kCvDestroyObjectName).address);
    if (create == nullptr || destroy == nullptr) {
        console.Error("the module " + moduleText + " has no export " +
                      (create == nullptr ? kCvCreateObjectName : kCvDestroyObjectName) +
                      ": it is no plug-in module");
        return kExitExportMissing;
    }
    for (const CommandCall& call : arguments.commands) {
        const char* name = call.command->moduleExport;
        if (name != nullptr && platform::FindExport(loaded.module.get(), name).address == nullptr) {
            console.Error("the module " + moduleText + " has no export " + name +
                          ", which the command " + call.command->name + " calls");
            return kExitExportMissing;
        }
    }

    const std::string objectName = Narrow(kNexiloAgentObjectName);
    void* made = nullptr;
    const std::uint32_t created = create(kNexiloAgentObjectName, kIidServPlugin, &made);
    if (created != 0 || made == nullptr) {
        console.Error("CvCreateObject(\"" + objectName + "\", IServPlugin) answered " +
                      std::to_string(created) + (made == nullptr ? " and no object" : ""));
        return kExitCreateFailed;
    }
    auto* plugin = static_cast<IServPlugin*>(made);
    auto* base = static_cast<ICvBaseInterface*>(plugin->QueryInterface(kIidCvBaseInterface));
    auto* agent = static_cast<INexiloAgent*>(plugin->QueryInterface(kIidNexiloAgent));
    if (base == nullptr) {
        // Without its base pointer the object can't be given back; leaving it is all that's safe.
        console.Error("the object \"" + objectName +
                      "\" answers no ICvBaseInterface, so it cannot be destroyed; left as it is");
        return kExitCreateFailed;
    }
    if (agent == nullptr) {
        destroy(kNexiloAgentObjectName, base);
        console.Error("the object \"" + objectName + "\" offers no INexiloAgent");
        return kExitCreateFailed;
    }

    const std::uint32_t registered = agent->RegisterEvents(&printer);
    if (registered != 0) {
        console.Warning("RegisterEvents answered " + std::to_string(registered) +
                        ": events will not be shown");
    }
    const std::uint32_t started = plugin->Init(&host);
    console.Line("{\"step\":\"init\",\"code\":" + Signed(started) + "}");
    int exitCode = kExitOk;
    if (started != 0) {
        console.Error("Init failed with " + Signed(started) +
                      " (the agent's log tells why); no command was run");
        exitCode = kExitInitFailed;
    } else {
        ShowIdentity(console, loaded.module.get());
        {
            // The push commands' clients end with the commands, before the agent stops.
            PushClients push(console);
            CommandContext context{console, loaded.module.get(), agent, printer, push};
            for (const CommandCall& call : arguments.commands) {
                bool succeeded = false;
                try {
                    succeeded = call.command->run(context, call.operands);
                } catch (const std::exception& exception) {
                    console.Error(std::string(call.command->name) + " failed: " + exception.what());
                }
                if (!succeeded) {
                    exitCode = kExitCommandFailed;
                    break;
                }
            }
        }
        plugin->UnInit();
        console.Line("{\"step\":\"uninit\"}");
    }
    if (registered == 0) {
        agent->UnregisterEvents(&printer);
    }
    destroy(kNexiloAgentObjectName, base);
    return exitCode;
}

std::string Times(std::uint64_t count) {
    return std::to_string(count) + (count == 1 ? " time" : " times");
}

void WarnUnbalanced(const ComponentManager& manager, const HKSettingsPlugin& settings,
                    Console& console) {
    for (const ComponentManager::Count& count : manager.Counts()) {
        const std::string name = "plugin \"" + Narrow(count.name) + "\"";
        if (count.gets != count.releases) {
            console.Warning(name + " was got " + Times(count.gets) + " and released " +
                            Times(count.releases));
        }
        if (count.extraReleases != 0) {
            console.Warning(name + " was released " + Times(count.extraReleases) +
                            " while nothing was held");
        }
    }
    for (const HKSettingsPlugin::NodeCount& count : settings.Counts()) {
        const std::string name = "settings node \"" + Narrow(count.path) + "\"";
        if (count.gets != count.releases) {
            console.Warning(name + " was opened " + Times(count.gets) + " and released " +
                            Times(count.releases));
        }
        if (count.extraReleases != 0) {
            console.Warning(name + " was released " + Times(count.extraReleases) +
                            " while nothing was held");
        }
    }
}

int Run(const std::vector<std::string>& args, Console& console, const HostSetup& setup) {
    ParsedArguments parsed = ParseHostArguments(args);
    if (!parsed.error.empty()) {
        console.Error(parsed.error);
        console.Error("see \"host --help\"");
        return kExitUsage;
    }
    if (parsed.arguments.help) {
        console.Text(HelpText(PathText(PathFromWide(setup.defaultModule).filename())));
        return kExitOk;
    }
    const std::wstring modulePath = ResolveModule(parsed.arguments, setup);

    std::string error;
    SettingsStore store;
    if (!store.Open(SettingsFile(setup.home), error)) {
        console.Error(error);
        console.Error("fix the file or move it away; the host never overwrites a broken file");
        return kExitHostFiles;
    }
    ProductInfoPlugin productInfo;
    if (!productInfo.Load(ProductInfoFile(setup.home), error)) {
        console.Error(error);
        return kExitHostFiles;
    }
    EventSinkPlugin eventSink(EventSinkRecordFile(setup.home));
    HKSettingsPlugin settings(store,
                              [&console](const std::string& message) { console.Error(message); });

    ComponentManager manager;
    const auto& withheld = parsed.arguments.withheld;
    if (!withheld.count("HKSettings")) {
        manager.Offer(kHKSettingsPluginName, &settings);
    }
    if (!withheld.count("productinfo")) {
        manager.Offer(kProductInfoPluginName, &productInfo);
    }
    if (!withheld.count("evsink")) {
        manager.Offer(kEvsinkPluginName, &eventSink);
    }
    ServHost host(manager);
    EventPrinter printer(console);

    const int exitCode = RunSession(parsed.arguments, modulePath, host, printer, console);
    WarnUnbalanced(manager, settings, console);
    return exitCode;
}

} // namespace

int RunHost(const std::vector<std::string>& args, Console& console, const HostSetup& setup) {
    try {
        return Run(args, console, setup);
    } catch (const std::exception& exception) {
        console.Error(std::string("internal failure: ") + exception.what());
    } catch (...) {
        console.Error("internal failure");
    }
    return kExitInternal;
}

std::string HelpText(const std::string& defaultModuleName) {
    std::string commands;
    for (const CommandSpec& command : CommandTable()) {
        std::string usage = CommandUsage(command);
        usage.resize(std::max<std::size_t>(usage.size() + 2, 28), ' ');
        commands += "  " + usage + command.summary + "\n";
    }
    return "usage: host [--module PATH] [--without PLUGIN]... COMMAND [OPERAND]... [COMMAND...]\n"
           "       host --help\n"
           "\n"
           "The dev kit's reference host. It loads the agent module, creates the object\n"
           "\"Nexilo.NexiloAgent\", starts it with Init and this host's interface, runs the\n"
           "commands in order (stopping at the first that fails), stops the agent with UnInit\n"
           "and destroys it. It offers the agent the plugins HKSettings, productinfo and evsink.\n"
           "\n"
           "Options (before the commands):\n"
           "  --module PATH     the agent module (default: " +
           defaultModuleName +
           " beside the host)\n"
           "  --without PLUGIN  don't offer the plugin HKSettings, productinfo or evsink\n"
           "  --help            this text\n"
           "\n"
           "Commands:\n" +
           commands +
           "\n"
           "Output: one JSON object a line on standard output: {\"step\":\"init\",\"code\":N},\n"
           "the user the node service reports ({\"step\":\"identity\",\"user_token\":T,\n"
           "\"device_id\":D} or {\"step\":\"identity\",\"found\":false}), each command's result\n"
           "({\"command\":\"ask\",\"code\":N,\"isError\":B,\"reply\":...}; the commands of the\n"
           "module's plain exports say {\"command\":NAME,...,\"ok\":B}), each event the agent\n"
           "fires ({\"event\":NAME,\"data\":...}) and {\"step\":\"uninit\"}.\n"
           "Codes are signed (-1 for 0xFFFFFFFF). Messages go to standard error. Plugins or\n"
           "settings nodes that the agent didn't give back are named in warnings at the end.\n"
           "\n"
           "Files, in the dev kit home ($NEXILO_DEVKIT_HOME, else ~/.nexilo-devkit), folder "
           "host/:\n"
           "  settings.json     the HKSettings store: {\"/Node\": {\"key\": {\"int64\": 5}}}\n"
           "                    (types string, int32, int64, bool); replaced atomically\n"
           "  productinfo.json  productinfo values: {\"nexilo\": {\"0\": \"text\"}}\n"
           "  evsink.jsonl      one line for each call the evsink plugin gets\n"
           "\n"
           "Exit codes:\n"
           "  0  success\n"
           "  1  a command failed\n"
           "  2  bad arguments\n"
           "  3  a host file in the dev kit home is broken (it is left untouched)\n"
           "  4  the module is missing or cannot be loaded\n"
           "  5  the module lacks CvCreateObject, CvDestroyObject or an export a command calls\n"
           "  6  the object cannot be created or lacks an interface\n"
           "  7  Init failed\n"
           "  8  the host itself failed\n";
}

} // namespace devkit::host
