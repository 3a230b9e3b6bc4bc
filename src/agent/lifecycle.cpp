// Construction, interfaces, Init and UnInit of the agent, and what Init reads about the product.
#include "agent/nexilo_agent.h"

#include "diag/function_tracer.h"
#include "platform/error_codes.h"
#include "platform/os_version.h"
#include "platform/registry.h"
#include "platform/unique_resource.h"

#include <cstdlib>
#include <vector>

namespace {

// Nothing reads these; the host may replace them through "productinfo".
constexpr const wchar_t* kDefaultProductValue1 = L"6F0E6A2C-3D41-4B7E-9C15-2A8D7E4F1B90";
constexpr const wchar_t* kDefaultProductValue2 = L"B3D95C71-0E2A-4F68-8A4C-5E17D0C92F36";

// The largest DisplayVersion the agent reads, in bytes of UTF-16 text with its terminator.
constexpr std::uint32_t kInstalledVersionLimit = 40;
constexpr std::int32_t kQueueMinimumWorkers = 4;

} // namespace

NexiloAgent::NexiloAgent(const AgentEnvironment& environment) : m_env(environment) {
    m_appId = kDefaultAppId;
    m_productValue1 = kDefaultProductValue1;
    m_productValue2 = kDefaultProductValue2;
    m_deviceId = L"";
    m_userToken = L"";
    m_productVersion = kDefaultVersion;
    m_installedVersion = kDefaultVersion;
    m_osVersion = L"";
}

NexiloAgent::~NexiloAgent() {
    m_queue.Stop();
    m_evsink.Release();
    m_settings.Release();
}

void* NexiloAgent::QueryInterface(CvIid iid) {
    if (iid == kIidCvBaseInterface) {
        return static_cast<ICvBaseInterface*>(static_cast<IServPlugin*>(this));
    }
    if (iid == kIidServPlugin) {
        return static_cast<IServPlugin*>(this);
    }
    if (iid == kIidNexiloAgent) {
        return static_cast<cv::hostkit::Nexilo::INexiloAgent*>(this);
    }
    return nullptr;
}

IComponentManager* NexiloAgent::_ComponentManager() const {
    return m_host != nullptr ? m_host->GetComponentManager() : nullptr;
}

std::uint32_t NexiloAgent::Init(IServHost* host) {
    const logging::FunctionLog log(L"NexiloAgent::Init", m_env.log);
    NX_TRACE_SCOPE(log);
    platform::ScopeExit undo([this] { UnInit(); });

    m_stop.exchange(false);
    m_host = host;

    IComponentManager* manager = _ComponentManager();
    if (m_settings.GetPlugin(manager) == nullptr) {
        NX_LOG_ERROR(log, L"cannot get settings plugin");
        return platform::kFailureWithoutCode;
    }

    if (m_queue.Interface() == nullptr) {
        std::uint32_t result = m_queue.Load();
        if (result == 0) {
            result = m_queue.Interface()->Initialise(kQueueMinimumWorkers);
        }
        if (result != 0) {
            NX_LOG_ERROR(log, L"cannot init event queue");
            m_queue.Unload();
            return platform::kFailureWithoutCode;
        }
    }

    // A node service that doesn't answer must not stop the start: the identity comes later.
    _GetProductNodeData();

    if (!InitNxp()) {
        return platform::kFailureWithoutCode;
    }

    // In-product messaging is optional: the start goes on without it.
    if (!m_ipm.Init()) {
        const logging::FunctionLog ipmLog(L"Ipm::Init", m_env.log);
        NX_LOG_ERROR(ipmLog, L"failed to init push... no ipm");
    }

    _ReadProductInfo(manager);
    _GetInstalledProductVersion();
    m_osVersion = _GetOsVersion();

    if (m_evsink.GetPlugin(manager) == nullptr) {
        NX_LOG_WARNING(log, L"no evsink, continuable");
    }

    // Its failures are logged there: the product then goes on without notification.
    _InitUserChangedListener();

    undo.Dismiss();
    return 0;
}

void NexiloAgent::UnInit() {
    const logging::FunctionLog log(L"NexiloAgent::UnInit", m_env.log);
    NX_TRACE_SCOPE(log);
    m_stop.exchange(true);
    // Without an event there is no listener either; the wake makes it leave at once.
    if (m_userChangedEvent) {
        m_userChangedEvent->Set();
    }
    if (m_listenerThread.joinable()) {
        m_listenerThread.join();
    }

    // After the join, so that the ping timer the listener armed is cancelled too.
    m_queue.Stop();
    // Stopping push waits for a registration that may be inside the library; the cloud session
    // goes after it.
    m_ipm._UninitPush();
    m_nxpComm.reset();

    m_settings.Release();
    m_evsink.Release();

    // One use less whatever was taken: a start that failed before InitNxp leaves the count at -1,
    // and the library can then not be loaded again in this process.
    m_env.cloudClient.Release();
    m_cloudUses = m_cloudUses > 0 ? m_cloudUses - 1 : 0;
    m_host = nullptr;
}

void NexiloAgent::ReleaseCloudSession() {
    m_nxpComm.reset();
    for (; m_cloudUses > 0; --m_cloudUses) {
        m_env.cloudClient.Release();
    }
}

void NexiloAgent::_ReadProductInfo(IComponentManager* manager) {
    if (manager == nullptr) {
        return;
    }
    void* plugin = nullptr;
    if (manager->GetPlugin(kProductInfoPluginName, kIidProductInfo, &plugin) != 0 ||
        plugin == nullptr) {
        return;
    }
    auto* info = static_cast<IProductInfo*>(plugin);
    struct Read {
        std::int32_t index;
        const wchar_t* section;
        cv::StringW* field;
    };
    const Read reads[] = {
        {0, L"nexilo", &m_appId},          {1, L"nexilo", &m_productValue1},
        {2, L"nexilo", &m_productValue2},  {3, L"nexilo", &m_productValue3},
        {0, L"update", &m_productVersion},
    };
    for (const Read& read : reads) {
        if (const wchar_t* value = info->GetProductValue(read.index, read.section)) {
            *read.field = value;
        }
    }
    manager->ReleasePlugin(kProductInfoPluginName);
}

void NexiloAgent::_GetInstalledProductVersion() {
    const logging::FunctionLog log(L"NexiloAgent::_GetInstalledProductVersion", m_env.log);
    auto report = [this, &log] {
        NX_LOG_INFO(log, L"installed [%s], current [%s]", m_installedVersion.GetString(),
                    m_productVersion.GetString());
    };
    platform::RegistryKeyResult opened = m_env.registry.OpenKey(
        platform::RegistryRoot::kLocalMachine, kInstallKey, platform::kKeyRead);
    if (!opened.key) {
        NX_LOG_ERROR(log, L"could not read install key");
        report();
        return;
    }
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    if (opened.key->QueryValue(L"DisplayVersion", &type, nullptr, &size) != 0) {
        NX_LOG_WARNING(log, L"could not query values install key");
    } else if (type != platform::kRegSz) {
        NX_LOG_WARNING(log, L"data type is not REG_SZ");
    } else if (size > kInstalledVersionLimit) {
        NX_LOG_WARNING(log, L"data size is too large [%d]", static_cast<std::int32_t>(size));
    } else {
        // Room for size/2 + 1 UTF-16 code units, so a value without its terminator still ends.
        std::vector<std::byte> data((size / 2 + 1) * 2);
        std::uint32_t read = size;
        if (opened.key->QueryValue(L"DisplayVersion", nullptr, data.data(), &read) != 0) {
            NX_LOG_ERROR(log, L"could not read installed version");
        } else {
            m_installedVersion = platform::TextFromRegistryBytes(data.data(), data.size()).c_str();
        }
    }
    report();
}

cv::StringW NexiloAgent::_GetOsVersion() {
    cv::StringW text;
    if (const auto version = platform::GetOsVersion()) {
        cv::StringW::Format(text, 0, L"%d.%d.%d", static_cast<std::int32_t>(version->major),
                            static_cast<std::int32_t>(version->minor),
                            static_cast<std::int32_t>(version->build));
    }
    return text;
}
