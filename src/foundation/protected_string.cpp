#include "foundation/protected_string.h"

namespace cpm {
namespace {

void Reseal(ProtectedString& field, const szm::zeroing_string_t<char>& clear) {
    ProtectedString fresh(clear);
    field.swap(fresh);
}

} // namespace

void ProtectedIdentity::Assign(const szm::zeroing_string_t<char>& deviceId,
                               const szm::zeroing_string_t<char>& appId,
                               const szm::zeroing_string_t<char>& userToken) {
    Reseal(user_token, userToken);
    Reseal(app_id, appId);
    Reseal(device_id, deviceId);
}

} // namespace cpm
