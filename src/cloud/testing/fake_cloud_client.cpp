#include "cloud/testing/fake_cloud_client.h"

#include <chrono>
#include <memory>

namespace cloud_testing {

namespace {

FakeCloudClient* g_current = nullptr;

constexpr auto kGenerousWait = std::chrono::seconds(60);

template <class Fn>
void Put(cloud::CloudClientTable& table, cloud::CloudExport which, Fn fn) {
    table.functions[static_cast<std::size_t>(which)] = reinterpret_cast<void*>(fn);
}

std::string Text(const char* text) {
    return text != nullptr ? text : "(null)";
}

} // namespace

FakeCloudClient::FakeCloudClient() {
    Put(m_table, cloud::CloudExport::Init, &FakeCloudClient::Init);
    Put(m_table, cloud::CloudExport::Uninit, &FakeCloudClient::Uninit);
    Put(m_table, cloud::CloudExport::SetOption, &FakeCloudClient::SetOption);
    Put(m_table, cloud::CloudExport::Register, &FakeCloudClient::Register);
    g_current = this;
}

FakeCloudClient::~FakeCloudClient() {
    g_current = nullptr;
}

nxp::CloudClientLoader FakeCloudClient::Loader() {
    return {[this]() -> cloud::CloudClientTable* {
                Note("load");
                return loadable ? &m_table : nullptr;
            },
            [this](cloud::CloudClientTable*) { Note("unload"); }};
}

std::vector<Registration> FakeCloudClient::Registrations() const {
    std::lock_guard lock(m_mutex);
    return m_registrations;
}

std::vector<std::string> FakeCloudClient::Calls() const {
    std::lock_guard lock(m_mutex);
    return m_calls;
}

bool FakeCloudClient::WaitForRegistrations(std::size_t count) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, kGenerousWait, [&] { return m_registrations.size() >= count; });
}

void FakeCloudClient::Deliver(const Registration& registration, std::string_view bytes) {
    const cloud::CvzMessage message{0, bytes.data(), static_cast<std::uint32_t>(bytes.size())};
    registration.callbacks.messageHandler(&message, registration.callbacks.context);
}

void FakeCloudClient::Note(std::string call) {
    std::lock_guard lock(m_mutex);
    m_calls.push_back(std::move(call));
    m_changed.notify_all();
}

std::int32_t NEXILO_CALL FakeCloudClient::Init(cloud::CvzSession* session) {
    g_current->Note("init");
    *session = g_current->initResult == 0 ? &g_current->m_session : nullptr;
    return g_current->initResult;
}

std::int32_t NEXILO_CALL FakeCloudClient::Uninit(cloud::CvzSession) {
    g_current->Note("uninit");
    return 0;
}

std::int32_t NEXILO_CALL FakeCloudClient::SetOption(cloud::CvzSession, std::int32_t option,
                                                    std::int32_t value) {
    g_current->Note("option " + std::to_string(option) + "=" + std::to_string(value));
    return 0;
}

std::int32_t NEXILO_CALL FakeCloudClient::Register(cloud::CvzSession,
                                                   const cloud::CvzCredentials* credentials,
                                                   const cloud::CvzTarget* target, const char* type,
                                                   const char* channel,
                                                   const cloud::CvzCallbacks* callbacks) {
    FakeCloudClient& self = *g_current;
    {
        std::lock_guard lock(self.m_mutex);
        self.m_registrations.push_back(
            {Text(credentials->userToken), Text(credentials->appId), Text(credentials->deviceId),
             Text(target->appId), Text(target->deviceId), Text(type), Text(channel), *callbacks});
        self.m_calls.emplace_back("register");
        self.m_changed.notify_all();
    }
    if (self.duringRegister) {
        self.duringRegister();
    }
    self.Note("registered");
    return self.registerResult;
}

void WaitForQueuedWork(nxp::RequestProcessor& processor) {
    struct Marker {
        std::mutex mutex;
        std::condition_variable ran;
        bool done = false;
    };
    auto marker = std::make_shared<Marker>();
    auto item = std::make_shared<nxp::WorkItem>();
    item->handler = [marker](nxp::TaskType, nxp::IData*, void*) {
        std::lock_guard lock(marker->mutex);
        marker->done = true;
        marker->ran.notify_all();
    };
    processor.PushTask(item);
    std::unique_lock lock(marker->mutex);
    marker->ran.wait_for(lock, kGenerousWait, [&] { return marker->done; });
}

} // namespace cloud_testing
