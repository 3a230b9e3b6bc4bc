// cv::hostkit::Nexilo::INexiloAgent: the agent's interface for the product's other components,
// and IEvents, through which they hear from it.
//
// Contract:
// - INexiloAgent is not an ICvBaseInterface: its table starts with RegisterEvents. It is reached
//   with QueryInterface(kIidNexiloAgent) on the agent object, which answers the object's second
//   base; the object is destroyed through the ICvBaseInterface pointer that the factory gave.
// - Results are 0 on success, else a Windows error number (1627 for a duplicate or missing
//   subscriber); GetLanguage, SetLanguage and Ask answer 0xFFFFFFFF on their failures.
// - The two class arguments passed by value travel as cv::ByValue (nexilo/by_value.h), which
//   passes them as MSVC does; the agent takes and destroys them. cv::StringW and cv::Value cross
//   the border under the rules of their headers.
// - Calls come from any host thread. Subscribers are called on the agent's threads and must
//   not throw, nor register or unregister from inside OnEvent.
#pragma once

#include "nexilo/by_value.h"
#include "nexilo/cv_base.h"
#include "nexilo/cv_string.h"
#include "nexilo/cv_value.h"

#include <cstdint>
#include <type_traits>

inline constexpr CvIid kIidNexiloAgent{{0x454E4F30, 0x8D2C7D08, 0xEA1B46F9, 0x3CA3790B}};
inline constexpr const wchar_t* kNexiloAgentObjectName = L"Nexilo.NexiloAgent";

namespace cv::hostkit::Nexilo {

class INexiloAgent {
public:
    class IEvents {
    public:
        // slot 0
        virtual void OnEvent(const wchar_t* name, const cv::Value& data) = 0;

    protected:
        ~IEvents() = default;
    };

    // slot 0
    virtual std::uint32_t RegisterEvents(IEvents* events) = 0;
    // slot 1
    virtual std::uint32_t UnregisterEvents(IEvents* events) = 0;
    // slot 2
    virtual std::uint32_t Ask(const wchar_t* service, const wchar_t* method,
                              const cv::Value& params, cv::Value& result, bool* isError,
                              const cv::Value& destination) = 0;
    // slot 3
    virtual std::uint32_t Login() = 0;
    // slot 4
    virtual std::uint32_t Logout() = 0;
    // slot 5
    virtual std::uint32_t SwitchAccount() = 0;
    // slot 6
    virtual std::uint32_t GetUserDetails(cv::Value* out) = 0;
    // slot 7
    virtual std::uint32_t GetLanguage(cv::StringW& language) = 0;
    // slot 8
    virtual std::uint32_t SetLanguage(cv::ByValue<cv::StringW> language) = 0;
    // slot 9
    virtual std::uint32_t SetIpmState(bool state) = 0;
    // slot 10
    virtual std::uint32_t GetIpmState(bool* state) = 0;
    // slot 11
    virtual std::uint32_t GetCurrentCampaign(cv::Value* out) = 0;
    // slot 12
    virtual std::uint32_t UpdateCurrentCampaign(cv::ByValue<cv::Value> campaign) = 0;
    // slot 13
    virtual std::uint32_t SendCommand(const cv::Value& request, std::uint32_t reserved) = 0;

protected:
    ~INexiloAgent() = default;
};

// The signatures that are easiest to break by accident.
static_assert(std::is_same_v<decltype(&INexiloAgent::SetLanguage),
                             std::uint32_t (INexiloAgent::*)(cv::ByValue<cv::StringW>)>);
static_assert(std::is_same_v<decltype(&INexiloAgent::UpdateCurrentCampaign),
                             std::uint32_t (INexiloAgent::*)(cv::ByValue<cv::Value>)>);
static_assert(
    std::is_same_v<decltype(&INexiloAgent::Ask),
                   std::uint32_t (INexiloAgent::*)(const wchar_t*, const wchar_t*, const cv::Value&,
                                                   cv::Value&, bool*, const cv::Value&)>);
static_assert(std::is_polymorphic_v<INexiloAgent> && sizeof(INexiloAgent) == sizeof(void*));

} // namespace cv::hostkit::Nexilo
