#include "cloud/cloud_comm.h"

#include "cloud/identity_source.h"
#include "diag/nxp_log.h"
#include "foundation/protected_string.h"
#include "foundation/zeroing_string.h"
#include "platform/error_codes.h"
#include "platform/utf8.h"

#include <atomic>
#include <cstring>
#include <map>

namespace nxp {

namespace {

using ZeroingText = szm::zeroing_string_t<char>;

// Overwrites the reply's bytes one at a time, in a way the optimiser keeps.
void Wipe(char* data, std::uint32_t size) {
    volatile char* bytes = data;
    for (std::uint32_t i = 0; i < size; ++i) {
        bytes[i] = 0;
    }
}

} // namespace

class CloudCommImpl {
public:
    explicit CloudCommImpl(CloudComm::TableSource tableSource)
        : m_tableSource(std::move(tableSource)) {}
    virtual ~CloudCommImpl() {
        cloud::CloudClientTable* table = m_tableSource();
        if (m_session != nullptr && table != nullptr) {
            table->Uninit()(m_session);
        }
        m_session = nullptr;
    }

    std::uint32_t Init(const cv::Json& source, CloudComm::LogCallback logCallback) {
        m_log.Init(std::move(logCallback), L"Cloudcomm");
        if (LoadSourceJson(source) != 0) {
            m_log.LogInfo(L"LoadSourceJson failed");
            return platform::kErrorGenFailure;
        }
        cloud::CloudClientTable* table = m_tableSource();
        if (table == nullptr) {
            m_log.LogInfo(L"InitLib was not called. Init failed");
            return platform::kErrorGenFailure;
        }
        // Only the handle tells success: a non-zero result with a handle is a working session.
        const std::int32_t result = table->Init()(&m_session);
        if (m_session == nullptr) {
            m_log.LogInfo(L"cvzc init failed with error %d", result);
            return platform::kErrorGenFailure;
        }
        if (m_applyOption) {
            table->SetOption()(m_session, cloud::kOptionApplied, cloud::kOptionAppliedValue);
        }
        return 0;
    }

    std::uint32_t SetSourceField(const std::wstring& key, const std::wstring& value) {
        m_extraSource[platform::WideToUtf8(key)] = platform::WideToUtf8(value);
        return 0;
    }

    std::uint32_t Ask(const std::wstring& service, const std::wstring& method,
                      const cv::Json& params, cv::Json& result, bool* isError,
                      const cv::Json& destination) {
        *isError = false;
        cloud::CloudClientTable* table = m_tableSource();
        if (table == nullptr) {
            m_log.LogInfo(L"cvzc is not loaded");
            return platform::kFailureWithoutCode;
        }
        const ZeroingText text = BuildRequest(method, params, destination);
        const std::string serviceUtf8 = platform::WideToUtf8(service);
        const cloud::CvzRequest request{serviceUtf8.c_str(), cloud::kAskLimit, cloud::kAskKind,
                                        text.text(), text.length()};
        cloud::CvzReply* reply = nullptr;
        const std::int32_t code = table->Ask()(m_session, &request, &reply);
        const std::uint32_t outcome = Judge(code, reply, result, isError);
        if (reply != nullptr) {
            table->FreeResponse()(reply);
        }
        return outcome;
    }

private:
    std::uint32_t Judge(std::int32_t code, cloud::CvzReply* reply, cv::Json& result,
                        bool* isError) {
        if (code != 0) {
            m_log.LogInfo(L"zephra ask failed with code %d\n", code);
            return static_cast<std::uint32_t>(code);
        }
        if (reply != nullptr && reply->kind != cloud::kReplyKindJson) {
            m_log.LogInfo(L"zephra ask response is null\n");
            return platform::kFailureWithoutCode;
        }
        if (ParseServerResponse(reply, result, isError) != 0) {
            m_log.LogInfo(L"ParseServerResponse failed\n");
            return platform::kFailureWithoutCode;
        }
        Wipe(reply->data, reply->size);
        return 0;
    }

    std::uint32_t LoadSourceJson(const cv::Json& source) {
        switch (cloud::SealIdentitySource(source, m_identity)) {
            case cloud::SourceOutcome::Sealed:
                return 0;
            case cloud::SourceOutcome::NoDocument:
                m_log.LogInfo(L"source is null");
                break;
            case cloud::SourceOutcome::Invalid:
                m_log.LogInfo(L"Invalid zephra source data");
                break;
        }
        return platform::kErrorGenFailure;
    }

    ZeroingText BuildRequest(const std::wstring& method, const cv::Json& params,
                             const cv::Json& destination) {
        // Wraps into the negative range past the largest id, as the atomic does.
        const std::int32_t id = ++m_nextId;
        cv::Json top;
        top.Pack("{s:s, s:s, s:i}", "jsonrpc", "2.0", "method",
                 platform::WideToUtf8(method).c_str(), "id", id);

        cv::Json source;
        {
            const ZeroingText userToken = m_identity.user_token.Unseal();
            const ZeroingText appId = m_identity.app_id.Unseal();
            const ZeroingText deviceId = m_identity.device_id.Unseal();
            source.Pack("{s:s, s:s, s:s}", "user_token", userToken.text(), "app_id", appId.text(),
                        "device_id", deviceId.text());
        }
        for (const auto& [key, value] : m_extraSource) {
            source.Set(key, value);
        }

        cv::JsonObject members;
        members.Set("nexilo_source", source);
        if (destination.IsObject()) {
            members.Set("nexilo_destination", destination);
        }
        if (params.IsObject()) {
            for (const std::string& key : params.Keys()) {
                members.Set(key, params.Get(key));
            }
        }
        top.Set("params", members);

        char* dumped = nullptr;
        if (!top.Dump(&dumped, 0) || dumped == nullptr) {
            return ZeroingText();
        }
        const std::size_t length = std::strlen(dumped);
        ZeroingText text(dumped, length);
        szm::detail::Scrub(dumped, length);
        std::free(dumped);
        return text;
    }

    std::uint32_t ParseServerResponse(const cloud::CvzReply* reply, cv::Json& result,
                                      bool* isError) {
        if (reply == nullptr || reply->data == nullptr) {
            m_log.LogInfo(L"Null response from server");
            return platform::kErrorGenFailure;
        }
        cv::Json document;
        if (!document.Parse(reply->data, reply->size, 0) || !document.IsObject()) {
            m_log.LogInfo(L"Response from server is not json");
            return platform::kErrorGenFailure;
        }
        cv::Json member;
        if (document.Get("error", member)) {
            result = member;
            *isError = true;
            return 0;
        }
        const bool hasResult = document.Get("result", member);
        if (hasResult && member.IsObject()) {
            result = member;
        } else {
            cv::JsonObject wrapped;
            if (hasResult) {
                wrapped.Set("result", member);
            }
            result = wrapped;
        }
        *isError = false;
        return 0;
    }

    logging::Log m_log;
    CloudComm::TableSource m_tableSource;
    cloud::CvzSession m_session = nullptr;
    std::atomic<std::int32_t> m_nextId{0};
    const bool m_applyOption = true;
    cpm::ProtectedIdentity m_identity;
    std::map<std::string, std::string> m_extraSource;
};

CloudComm::CloudComm(TableSource tableSource)
    : m_impl(std::make_unique<CloudCommImpl>(std::move(tableSource))) {}

CloudComm::~CloudComm() = default;

std::uint32_t CloudComm::Init(const cv::Json& source, LogCallback logCallback) {
    return m_impl->Init(source, std::move(logCallback));
}

std::uint32_t CloudComm::SetSourceField(const std::wstring& key, const std::wstring& value) {
    return m_impl->SetSourceField(key, value);
}

std::uint32_t CloudComm::Ask(const std::wstring& service, const std::wstring& method,
                             const cv::Json& params, cv::Json& result, bool* isError,
                             const cv::Json& destination) {
    return m_impl->Ask(service, method, params, result, isError, destination);
}

} // namespace nxp
