#include "devkit/host/event_sink_plugin.h"

#include "devkit/common/devkit_home.h"
#include "devkit/host/json_text.h"
#include "platform/error_codes.h"

namespace devkit::host {

void* EventSinkPlugin::QueryInterface(CvIid iid) {
    if (iid == kIidCvBaseInterface || iid == kIidDeviceDetectionEvents) {
        return static_cast<IDeviceDetectionEvents*>(this);
    }
    return nullptr;
}

std::uint32_t EventSinkPlugin::SetUserData(const wchar_t* userToken, const wchar_t* deviceId,
                                           const wchar_t* appId) {
    ++m_calls;
    std::string line = "{\"call\":\"SetUserData\",\"user_token\":" + JsonString(userToken) +
                       ",\"device_id\":" + JsonString(deviceId) +
                       ",\"app_id\":" + JsonString(appId) + "}";
    return AppendLine(m_recordFile, line) ? platform::kErrorSuccess : platform::kErrorGenFailure;
}

} // namespace devkit::host
