// The campaign and the flag in the settings node "/Ipm".
#include "ipm/ipm.h"

#include "diag/function_tracer.h"

namespace {

constexpr const wchar_t* kNodePath = L"/Ipm";
constexpr cv::u32 kUrlRoom = 256;

// The "/Ipm" node, given back when it goes out of scope; empty with the reason logged when the
// owner holds no settings plugin or the plugin has no node.
class IpmNode {
public:
    IpmNode(IHKSettings* settings, const logging::FunctionLog& log) {
        if (settings == nullptr) {
            NX_LOG_ERROR(log, L"no hkSettings");
            return;
        }
        m_node = settings->GetNode(kNodePath);
        if (m_node == nullptr) {
            NX_LOG_ERROR(log, L"could not find node /Ipm");
        }
    }
    ~IpmNode() {
        if (m_node != nullptr) {
            m_node->Release();
        }
    }
    IpmNode(const IpmNode&) = delete;
    IpmNode& operator=(const IpmNode&) = delete;

    IHKSettingsNode* operator->() const { return m_node; }
    explicit operator bool() const { return m_node != nullptr; }

private:
    IHKSettingsNode* m_node = nullptr;
};

} // namespace

Ipm::Ipm(IIpmHost* host) : m_host(host) {
    m_logHandle.Acquire();
}

Ipm::~Ipm() {
    m_logHandle.Release();
}

bool Ipm::Init() {
    _LoadStateFromDisk();
    _LoadCampaignFromDisk();
    return _InitPush();
}

void Ipm::SetState(bool state) {
    m_state.exchange(state);
    _SaveStateToDisk();
}

void Ipm::GetCurrentCampaign(cv::Value& campaign) const {
    cv::Value copy;
    {
        std::lock_guard lock(m_campaignLock);
        copy = m_campaign;
    }
    campaign = std::move(copy);
}

void Ipm::UpdateCurrentCampaign(const cv::Value& campaign) {
    const logging::FunctionLog log(L"Ipm::UpdateCurrentCampaign", Sink());
    NX_TRACE_SCOPE(log);
    _ReplaceAndSaveCampaign(campaign);
}

void Ipm::_ReplaceAndSaveCampaign(const cv::Value& campaign) {
    std::lock_guard lock(m_campaignLock);
    m_campaign = campaign;
    _SaveCampaignToDisk();
}

void Ipm::_LoadStateFromDisk() {
    const logging::FunctionLog log(L"Ipm::_LoadStateFromDisk", Sink());
    NX_TRACE_SCOPE(log);
    const IpmNode node(m_host->IpmSettings(), log);
    if (!node) {
        return;
    }
    bool state = false;
    if (node->GetBool(L"state", state, 0)) {
        m_state.exchange(state);
        NX_LOG_INFO(log, L"loaded state %d", state ? 1 : 0);
    }
}

void Ipm::_SaveStateToDisk() {
    const logging::FunctionLog log(L"Ipm::_SaveStateToDisk", Sink());
    NX_TRACE_SCOPE(log);
    const IpmNode node(m_host->IpmSettings(), log);
    if (!node) {
        return;
    }
    const bool state = m_state.load();
    node->SetBool(L"state", state);
    NX_LOG_INFO(log, L"saved state %d", state ? 1 : 0);
}

void Ipm::_LoadCampaignFromDisk() {
    const logging::FunctionLog log(L"Ipm::_LoadCampaignFromDisk", Sink());
    NX_TRACE_SCOPE(log);
    const IpmNode node(m_host->IpmSettings(), log);
    if (!node) {
        return;
    }
    std::lock_guard lock(m_campaignLock);
    m_campaign = cv::Value(cv::Value::Type::kDict);
    // The plugin fills the text through the string's own memory manager only when it has a block.
    cv::StringW url;
    url.Reserve(kUrlRoom);
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int64_t validity = 0;
    std::int32_t displayCount = 0;
    // In this order, up to the first key that is missing.
    const bool complete = node->GetString(L"url", url, 0) && node->GetInt(L"width", width, 0) &&
                          node->GetInt(L"height", height, 0) &&
                          node->GetInt64(L"validity", validity, 0) &&
                          node->GetInt(L"display_count", displayCount, 0);
    if (!complete) {
        NX_LOG_INFO(log, L"no campaign found");
        return;
    }
    m_campaign[L"url"] = url.GetString(); // a null text becomes the empty one
    m_campaign[L"width"] = width;
    m_campaign[L"height"] = height;
    m_campaign[L"validity"] = static_cast<double>(validity);
    m_campaign[L"display_count"] = displayCount;
    NX_LOG_INFO(log, L"loaded campaign %s", m_campaign.ToString().GetString());
}

void Ipm::_SaveCampaignToDisk() {
    const logging::FunctionLog log(L"Ipm::_SaveCampaignToDisk", Sink());
    NX_TRACE_SCOPE(log);
    const cv::Value& campaign = m_campaign;
    if (campaign.GetType() == cv::Value::Type::kNull) {
        return;
    }
    // Size throws for a scalar; an array of four passes here and fails at its first key below.
    if (campaign.GetType() != cv::Value::Type::kDict && campaign.Size() != 4) {
        NX_LOG_ERROR(log, L"invalid campaign data %s", campaign.ToString().GetString());
        return;
    }
    const IpmNode node(m_host->IpmSettings(), log);
    if (!node) {
        return;
    }
    const cv::Value missing;
    node->SetString(L"url", campaign.Get(L"url", missing).AsString().GetString());
    node->SetInt(L"width", campaign.Get(L"width", missing).AsInt());
    node->SetInt(L"height", campaign.Get(L"height", missing).AsInt());
    const std::int64_t validity = campaign.Get(L"validity", missing).AsInt64();
    node->SetInt64(L"validity", validity);
    node->SetInt(L"display_count", campaign.Get(L"display_count", missing).AsInt());
    NX_LOG_INFO(log, L"Saved campaign %s validity %lld", campaign.ToString().GetString(),
                static_cast<long long>(validity));
}
