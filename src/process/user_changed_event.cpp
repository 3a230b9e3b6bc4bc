#include "process/user_changed_event.h"

#include "platform/environment.h"

namespace process {

std::wstring UserChangedEventName() {
    std::wstring name = kUserChangedEventName;
    const auto space = platform::ReadEnvironmentVariable(kEventNamespaceVariable);
    if (!space || space->empty()) {
        return name;
    }
    name += L'.';
    for (wchar_t c : *space) {
        const bool plain = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') ||
                           (c >= L'0' && c <= L'9') || c == L'-' || c == L'_';
        name += plain ? c : L'_';
    }
    return name;
}

} // namespace process
