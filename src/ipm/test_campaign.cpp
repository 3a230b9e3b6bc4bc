// The test path of the push flow: a fixed campaign, made current and announced.
#include "ipm/ipm.h"

#include "diag/function_tracer.h"

namespace {

// Only the path is part of the design; the host is the cloud's message-hosting endpoint.
constexpr const wchar_t* kTestCampaignUrl =
    L"https://ipm.corvane.example/cvipm/3467/163068/windows/JA96iNwLCe.html";
constexpr std::int32_t kTestCampaignWidth = 738;
constexpr std::int32_t kTestCampaignHeight = 400;
constexpr double kTestCampaignValidity = 1638761288;

} // namespace

cv::Value Ipm::TestCampaign(std::int32_t displayCount) {
    cv::Value campaign(cv::Value::Type::kDict);
    campaign[L"url"] = kTestCampaignUrl;
    campaign[L"width"] = kTestCampaignWidth;
    campaign[L"height"] = kTestCampaignHeight;
    campaign[L"validity"] = kTestCampaignValidity;
    campaign[L"display_count"] = displayCount;
    return campaign;
}

void Ipm::TriggerTestCampaign(std::int32_t displayCount) {
    const logging::FunctionLog log(L"Ipm::TriggerTestCampaign", Sink());
    NX_TRACE_SCOPE(log);
    const cv::Value campaign = TestCampaign(displayCount);
    _ReplaceAndSaveCampaign(campaign);
    NX_LOG_INFO(log, L"sending new_campaign %s", campaign.ToString().GetString());
    m_host->IpmFire(L"new_campaign", campaign);
}
