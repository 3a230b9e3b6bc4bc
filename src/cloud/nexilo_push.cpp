#include "cloud/nexilo_push.h"

#include "cloud/identity_source.h"
#include "foundation/protected_string.h"
#include "foundation/zeroing_string.h"
#include "platform/error_codes.h"
#include "platform/utf8.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>

namespace nxp {

namespace {

using ZeroingText = szm::zeroing_string_t<char>;

// A malloc'd copy that the library's strings are made of; null when memory runs out.
char* DuplicateText(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    auto* copy = static_cast<char*>(std::malloc(size));
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return copy;
}

std::string StringMember(const cv::Json& object, const char* key) {
    std::string value;
    object.Get(key, value);
    return value;
}

// Undefined in a push without an integer timestamp; 0 reads as "none" everywhere.
std::int64_t TimestampMember(const cv::Json& object) {
    std::int64_t value = 0;
    if (!object.Get("timestamp", value)) {
        value = 0;
    }
    return value;
}

void NEXILO_CALL NotificationHandler(const cloud::CvzMessage* message, void* context);
void NEXILO_CALL EventHandler(const cloud::CvzMessage* message, void* context);
void NEXILO_CALL StatusHandler(const cloud::CvzMessage*, void*) {}

// What one register task hands to the library; owns every string.
class GenericRegisterData : public IData {
public:
    GenericRegisterData(const ZeroingText& userToken, const ZeroingText& appId,
                        const ZeroingText& deviceId, const std::string& targetAppId,
                        const std::string& targetDeviceId, cloud::CvzHandler handler,
                        const char* typeText, std::int32_t topicNumber)
        : credentials{DuplicateText(userToken.text()), DuplicateText(appId.text()),
                      DuplicateText(deviceId.text())},
          target{DuplicateText(targetAppId.c_str()), DuplicateText(targetDeviceId.c_str())},
          messageHandler(handler), statusHandler(handler != nullptr ? StatusHandler : nullptr),
          type(DuplicateText(typeText)), topic(topicNumber) {}

    ~GenericRegisterData() override {
        for (const char* text : {credentials.userToken, credentials.appId, credentials.deviceId,
                                 target.appId, target.deviceId, type}) {
            std::free(const_cast<char*>(text));
        }
    }

    bool Complete() const {
        for (const char* text : {credentials.userToken, credentials.appId, credentials.deviceId,
                                 target.appId, target.deviceId, type}) {
            if (text == nullptr) {
                return false;
            }
        }
        return true;
    }

    cloud::CvzCredentials credentials;
    cloud::CvzTarget target;
    cloud::CvzHandler messageHandler;
    cloud::CvzHandler statusHandler;
    const char* type;
    std::int32_t topic;
};

} // namespace

CloudClientLoader ModuleCloudClientLoader(std::wstring module) {
    return {[module = std::move(module)] { return cloud::LoadCloudClient(module.c_str()); },
            &cloud::UnloadCloudClient};
}

CloudClientLoader SystemCloudClientLoader() {
    return ModuleCloudClientLoader(cloud::kCloudClientModule);
}

class NexiloPushImpl {
public:
    NexiloPushImpl(RequestProcessor* processor, CloudClientLoader loader)
        : m_processor(processor), m_loader(std::move(loader)) {}
    NexiloPushImpl(const NexiloPushImpl&) = delete;
    NexiloPushImpl& operator=(const NexiloPushImpl&) = delete;

    virtual ~NexiloPushImpl() {
        if (m_table != nullptr) {
            if (m_session != nullptr) {
                m_table->Uninit()(m_session);
            }
            m_session = nullptr;
            m_loader.unload(m_table);
            m_table = nullptr;
        }
    }

    std::uint32_t Init(const cv::Json& source, NexiloPush::LogCallback logSink) {
        m_log.Init(std::move(logSink), L"NexiloPush");
        switch (cloud::SealIdentitySource(source, m_identity)) {
            case cloud::SourceOutcome::Sealed:
                break;
            case cloud::SourceOutcome::NoDocument:
                m_log.LogInfo(L"Null nexilo source");
                return platform::kErrorGenFailure;
            case cloud::SourceOutcome::Invalid:
                m_log.LogInfo(L"Invalid nexilo source data");
                return platform::kErrorGenFailure;
        }
        // Without a library the client still counts as started: push is optional to its owner.
        m_table = m_loader.load();
        if (m_table != nullptr) {
            if (m_table->Init()(&m_session) == 0) {
                m_table->SetOption()(m_session, cloud::kOptionApplied, cloud::kOptionAppliedValue);
            } else {
                m_session = nullptr;
                m_loader.unload(m_table);
                m_table = nullptr;
            }
        }
        return 0;
    }

    void RegisterTopic(std::int32_t topic, const NexiloPush::TopicCallback& callback,
                       const cv::Json& filter) {
        const ZeroingText userToken = m_identity.user_token.Unseal();
        const ZeroingText appId = m_identity.app_id.Unseal();
        const ZeroingText deviceId = m_identity.device_id.Unseal();
        {
            std::lock_guard lock(m_lock);
            m_callbacks.emplace(topic, callback);
            m_log.LogInfo(L"Topic register: %d", topic);
            if (m_topics.count(topic) != 0) {
                m_log.LogInfo(L"Topic already registered(event)");
                return;
            }
            // Commands travel with the events: once events are registered, no second call.
            if (topic == kTopicCommands && m_topics.count(kTopicEvents) != 0) {
                m_topics.insert(kTopicCommands);
                m_log.LogInfo(L"Topic already registered(command)");
                return;
            }
            // A command registration of its own only counts once events are in; until then a
            // repeat calls the library again.
            if (topic != kTopicCommands) {
                m_topics.insert(topic);
            }
        }

        std::string targetAppId;
        std::string targetDeviceId;
        const char* type = "";
        cloud::CvzHandler handler = nullptr;
        switch (topic) {
            case kTopicEvents:
                type = "event";
                handler = EventHandler;
                if (!filter.IsValid() || !filter.Get("app_id", targetAppId)) {
                    targetAppId = appId.text();
                }
                if (!filter.IsValid() || !filter.Get("device_id", targetDeviceId)) {
                    targetDeviceId = deviceId.text();
                }
                break;
            case kTopicNotifications:
                type = "notification";
                handler = NotificationHandler;
                targetAppId = "all";
                targetDeviceId = "all";
                break;
            case kTopicCommands:
                type = "event";
                handler = EventHandler;
                targetAppId = appId.text();
                targetDeviceId = deviceId.text();
                break;
            default:
                break;
        }

        auto item = std::make_shared<WorkItem>();
        item->data = std::make_unique<GenericRegisterData>(userToken, appId, deviceId, targetAppId,
                                                           targetDeviceId, handler, type, topic);
        item->type = TaskType::Register;
        item->context = this;
        item->handler = &NexiloPushImpl::RegisterTask;
        m_processor->PushTask(std::move(item));
    }

    void UnregisterTopic(std::int32_t topic) {
        std::lock_guard lock(m_lock);
        if (m_topics.count(topic) == 0) {
            return;
        }
        m_callbacks.erase(topic);
        m_topics.erase(topic);
    }

    cv::Json GetDestination() const {
        const ZeroingText deviceId = m_identity.device_id.Unseal();
        const ZeroingText appId = m_identity.app_id.Unseal();
        cv::Json destination;
        destination.Pack("{s:s, s:s}", "device_id", deviceId.text(), "app_id", appId.text());
        return destination;
    }

    void OnNotification(const cloud::CvzMessage* message) {
        if (message == nullptr) {
            m_log.LogInfo(L"Null message.");
            return;
        }
        if (message->data == nullptr) {
            m_log.LogInfo(L"Null message data.");
            return;
        }
        const std::string text(message->data, message->size);
        cv::Json document;
        if (!ParseObject(text, document)) {
            return;
        }
        cv::Json appFields;
        if (!document.Get("app_fields", appFields)) {
            m_log.LogInfo(L" Null message body. No app_fields node");
            return;
        }
        NotificationMessage record;
        record.id = StringMember(appFields, "notification_id");
        record.timestamp = TimestampMember(appFields);
        appFields.Get("notification_params", record.params);
        cv::Json userFields;
        if (!document.Get("user_fields", userFields)) {
            m_log.LogInfo(L" Null user_fields node");
            return;
        }
        record.text = StringMember(userFields, "text");
        Deliver(kTopicNotifications, &record);
    }

    void OnEvent(const cloud::CvzMessage* message) {
        if (message == nullptr) {
            m_log.LogInfo(L" Null  message");
            return;
        }
        if (message->data == nullptr) {
            m_log.LogInfo(L"null msg data");
            return;
        }
        const std::string text(message->data, message->size);
        cv::Json document;
        if (!ParseObject(text, document)) {
            return;
        }
        m_log.LogInfo(L" Request: %s", platform::Utf8ToWide(text).c_str());
        cv::Json appFields;
        if (!document.Get("app_fields", appFields)) {
            m_log.LogInfo(L" Null message body. No app_fields node");
            return;
        }
        const std::string event = StringMember(appFields, "event");
        const std::int64_t timestamp = TimestampMember(appFields);
        cv::Json params;
        if (!appFields.Get("event_params", params)) {
            m_log.LogInfo(L" Null message body. No event_params node");
            return;
        }
        if (event == "command") {
            CommandMessage record;
            record.command = StringMember(params, "command");
            record.command_id = StringMember(params, "command_id");
            params.Get("command_params", record.params);
            record.timestamp = timestamp;
            Deliver(kTopicCommands, &record);
            return;
        }
        EventMessage record;
        record.event = event;
        record.params = params;
        cv::Json target;
        if (appFields.Get("nexilo_target", target)) {
            record.app_id = StringMember(target, "app_id");
            record.device_id = StringMember(target, "device_id");
        }
        record.timestamp = timestamp;
        Deliver(kTopicEvents, &record);
    }

private:
    static void RegisterTask(TaskType type, IData* data, void* context) {
        if (context == nullptr || type != TaskType::Register || data == nullptr) {
            return;
        }
        static_cast<NexiloPushImpl*>(context)->Register(*static_cast<GenericRegisterData*>(data));
    }

    void Register(const GenericRegisterData& data) {
        std::int32_t result = 0;
        if (m_table == nullptr) {
            m_log.LogInfo(L"cvzc is not loaded");
            result = static_cast<std::int32_t>(platform::kErrorGenFailure);
        } else if (!data.Complete()) {
            m_log.LogInfo(L"Out of memory for the registration");
            result = static_cast<std::int32_t>(platform::kErrorNotEnoughMemory);
        } else {
            const cloud::CvzCallbacks callbacks{data.statusHandler, data.messageHandler, this};
            result = m_table->Register()(m_session, &data.credentials, &data.target, data.type,
                                         cloud::kPushChannel, &callbacks);
            if (result != 0) {
                m_log.LogInfo(L"m_nexiloGenericRegisterFn failed with code %d", result);
            }
        }
        if (result == 0) {
            return;
        }
        // The callback stays, so a later RegisterTopic calls the library again with the first
        // callback still in place.
        std::lock_guard lock(m_lock);
        if (m_topics.count(data.topic) != 0) {
            m_log.LogInfo(L"Remove topic: %d", data.topic);
            m_topics.erase(data.topic);
        }
    }

    bool ParseObject(const std::string& text, cv::Json& document) {
        if (!document.Parse(text.data(), text.size(), 0) || !document.IsObject()) {
            m_log.LogInfo(L"Message is not json : %s", platform::Utf8ToWide(text).c_str());
            return false;
        }
        return true;
    }

    void Deliver(std::int32_t topic, void* record) {
        std::lock_guard lock(m_lock);
        const auto found = m_callbacks.find(topic);
        if (found != m_callbacks.end() && found->second) {
            found->second(record);
        }
    }

    std::mutex m_lock;
    cpm::ProtectedIdentity m_identity;
    std::map<std::int32_t, NexiloPush::TopicCallback> m_callbacks;
    std::set<std::int32_t> m_topics;
    logging::Log m_log;
    cloud::CloudClientTable* m_table = nullptr;
    cloud::CvzSession m_session = nullptr;
    RequestProcessor* m_processor;
    CloudClientLoader m_loader;
};

namespace {

void NEXILO_CALL NotificationHandler(const cloud::CvzMessage* message, void* context) {
    if (context != nullptr) {
        static_cast<NexiloPushImpl*>(context)->OnNotification(message);
    }
}

void NEXILO_CALL EventHandler(const cloud::CvzMessage* message, void* context) {
    if (context != nullptr) {
        static_cast<NexiloPushImpl*>(context)->OnEvent(message);
    }
}

} // namespace

NexiloPush::NexiloPush(RequestProcessor* processor, CloudClientLoader loader)
    : m_impl(std::make_unique<NexiloPushImpl>(processor, std::move(loader))) {}

NexiloPush::~NexiloPush() = default;

std::uint32_t NexiloPush::Init(const cv::Json& source, LogCallback logSink) {
    return m_impl->Init(source, std::move(logSink));
}

void NexiloPush::RegisterTopic(std::int32_t topic, const TopicCallback& callback,
                               const cv::Json& filter) {
    m_impl->RegisterTopic(topic, callback, filter);
}

void NexiloPush::UnregisterTopic(std::int32_t topic) {
    m_impl->UnregisterTopic(topic);
}

cv::Json NexiloPush::GetDestination() {
    return m_impl->GetDestination();
}

} // namespace nxp
