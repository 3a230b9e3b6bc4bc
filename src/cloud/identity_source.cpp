#include "cloud/identity_source.h"

#include "foundation/zeroing_string.h"

#include <new>
#include <string>

namespace cloud {

SourceOutcome SealIdentitySource(const cv::Json& source, cpm::ProtectedIdentity& identity) {
    if (!source.IsValid()) {
        return SourceOutcome::NoDocument;
    }
    std::string appId;
    std::string userToken;
    std::string deviceId;
    auto scrubAll = [&] {
        for (std::string* text : {&appId, &userToken, &deviceId}) {
            szm::detail::Scrub(text->data(), text->size());
        }
    };
    auto member = [&source](const char* key, std::string& out) {
        cv::Json value;
        return source.Get(key, value) && value.IsString() && value.Get(out);
    };
    try {
        if (!member("app_id", appId) || !member("user_token", userToken) ||
            !member("device_id", deviceId)) {
            scrubAll();
            return SourceOutcome::Invalid;
        }
        auto sealed = [](std::string& text) {
            szm::zeroing_string_t<char> clear(text.c_str());
            szm::detail::Scrub(text.data(), text.size());
            return clear;
        };
        identity.Assign(sealed(deviceId), sealed(appId), sealed(userToken));
    } catch (const std::bad_alloc&) {
        scrubAll();
        return SourceOutcome::Invalid;
    }
    return SourceOutcome::Sealed;
}

} // namespace cloud
