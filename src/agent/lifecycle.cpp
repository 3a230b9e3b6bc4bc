// Construction, interfaces, Init and UnInit of the agent, and what Init reads about the product.
#include "agent/nexilo_agent.h"

#include "cloud/cloud_client_table.h"
#include "diag/function_tracer.h"
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

platform::Registry* g_testRegistry = nullptr;

platform::Registry& AgentRegistry() {
    return g_testRegistry != nullptr ? *g_testRegistry : platform::SystemRegistry();
}

} // namespace

void NexiloAgent::SetRegistryForTesting(platform::Registry* registry) noexcept {
    g_testRegistry = registry;
}

NexiloAgent::NexiloAgent() {
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
    NX_TRACE_SCOPE(L"NexiloAgent::Init");
    platform::ScopeExit undo([this] { UnInit(); });

    m_stop.exchange(false);
    m_host = host;

    IComponentManager* manager = _ComponentManager();
    if (m_settings.GetPlugin(manager) == nullptr) {
        NX_LOG_ERROR(L"NexiloAgent::Init", L"cannot get settings plugin");
        return kFailure;
    }

    if (m_queue.Interface() == nullptr) {
        std::uint32_t result = m_queue.Load();
        if (result == 0) {
            result = m_queue.Interface()->Initialise(kQueueMinimumWorkers);
        }
        if (result != 0) {
            NX_LOG_ERROR(L"NexiloAgent::Init", L"cannot init event queue");
            m_queue.Unload();
            return kFailure;
        }
    }

    // A node service that doesn't answer must not stop the start: the identity comes later.
    _GetProductNodeData();

    if (!InitNxp()) {
        return kFailure;
    }

    _ReadProductInfo(manager);
    _GetInstalledProductVersion();
    m_osVersion = _GetOsVersion();

    if (m_evsink.GetPlugin(manager) == nullptr) {
        NX_LOG_WARNING(L"NexiloAgent::Init", L"no evsink, continuable");
    }

    undo.Dismiss();
    return 0;
}

void NexiloAgent::UnInit() {
    NX_TRACE_SCOPE(L"NexiloAgent::UnInit");
    m_stop.exchange(true);

    m_queue.Stop();
    m_nxpComm.reset();

    m_settings.Release();
    m_evsink.Release();

    DropCloudSession();
    m_host = nullptr;
}

void NexiloAgent::DropCloudSession() {
    m_nxpComm.reset();
    // One use less whatever was taken: a start that failed before InitNxp leaves the count at -1,
    // and the library can then not be loaded again in this process.
    cloud::ReleaseProcessCloudClient();
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
    auto report = [this] {
        NX_LOG_INFO(L"NexiloAgent::_GetInstalledProductVersion", L"installed [%s], current [%s]",
                    m_installedVersion.GetString(), m_productVersion.GetString());
    };
    platform::RegistryKeyResult opened = AgentRegistry().OpenKey(
        platform::RegistryRoot::kLocalMachine, kInstallKey, platform::kKeyRead);
    if (!opened.key) {
        NX_LOG_ERROR(L"NexiloAgent::_GetInstalledProductVersion", L"could not read install key");
        report();
        return;
    }
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    if (opened.key->QueryValue(L"DisplayVersion", &type, nullptr, &size) != 0) {
        NX_LOG_WARNING(L"NexiloAgent::_GetInstalledProductVersion",
                       L"could not query values install key");
    } else if (type != platform::kRegSz) {
        NX_LOG_WARNING(L"NexiloAgent::_GetInstalledProductVersion", L"data type is not REG_SZ");
    } else if (size > kInstalledVersionLimit) {
        NX_LOG_WARNING(L"NexiloAgent::_GetInstalledProductVersion", L"data size is too large [%d]",
                       static_cast<std::int32_t>(size));
    } else {
        // Room for size/2 + 1 UTF-16 code units, so a value without its terminator still ends.
        std::vector<std::byte> data((size / 2 + 1) * 2);
        std::uint32_t read = size;
        if (opened.key->QueryValue(L"DisplayVersion", nullptr, data.data(), &read) != 0) {
            NX_LOG_ERROR(L"NexiloAgent::_GetInstalledProductVersion",
                         L"could not read installed version");
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

cv::StringW NexiloAgent::AppId() const {
    std::lock_guard lock(m_lock);
    return m_appId;
}
cv::StringW NexiloAgent::UserToken() const {
    std::lock_guard lock(m_lock);
    return m_userToken;
}
cv::StringW NexiloAgent::DeviceId() const {
    std::lock_guard lock(m_lock);
    return m_deviceId;
}
cv::StringW NexiloAgent::ProductVersion() const {
    return m_productVersion;
}
cv::StringW NexiloAgent::InstalledVersion() const {
    return m_installedVersion;
}
cv::StringW NexiloAgent::OsVersion() const {
    return m_osVersion;
}
cv::StringW NexiloAgent::ProductValue(int index) const {
    switch (index) {
        case 1:
            return m_productValue1;
        case 2:
            return m_productValue2;
        case 3:
            return m_productValue3;
        default:
            return cv::StringW();
    }
}
