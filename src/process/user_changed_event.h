// The name of the global event through which the account node service tells the agent that the
// signed-in user changed. The agent and the dev kit's node service both take it from here.
//
// In production the variable NEXILO_EVENT_NAMESPACE is unset (or empty) and the name is the
// product's. Tests set it to a text of their own, which is appended after a dot, so that test runs
// side by side never steal each other's wakes: the event is auto-reset, and a wake goes to one
// waiter only. Characters other than ASCII letters, digits, '-' and '_' become '_', as a
// backslash would change the Windows namespace and a slash is not allowed in a POSIX name.
// Read anew on every call.
#pragma once

#include <string>

namespace process {

inline constexpr const wchar_t* kUserChangedEventName =
    L"Global\\{D05A3E6C-81F7-4C29-B6E3-5A17F2C94D08}";
inline constexpr const wchar_t* kEventNamespaceVariable = L"NEXILO_EVENT_NAMESPACE";

std::wstring UserChangedEventName();

} // namespace process
