#include "platform/registry_sandbox.h"

#include "platform/win/windows_include.h"

#include <cstdio>
#include <random>

namespace platform {

namespace {

std::wstring RandomGuidText() {
    std::random_device random;
    unsigned parts[4] = {random(), random(), random(), random()};
    wchar_t text[40];
    std::swprintf(text, 40, L"%08X-%04X-%04X-%04X-%04X%08X", parts[0], parts[1] >> 16,
                  parts[1] & 0xFFFF, parts[2] >> 16, parts[2] & 0xFFFF, parts[3]);
    return text;
}

HKEY AsKey(void* key) {
    return static_cast<HKEY>(key);
}

} // namespace

RegistrySandbox::RegistrySandbox() : m_keyPath(L"Software\\NexiloTest-" + RandomGuidText()) {
    HKEY sandbox = nullptr;
    // Not volatile: Windows refuses to create keys under a volatile key's override (1021).
    LSTATUS status =
        ::RegCreateKeyExW(HKEY_CURRENT_USER, m_keyPath.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                          KEY_ALL_ACCESS, nullptr, &sandbox, nullptr);
    if (status != ERROR_SUCCESS) {
        m_keyPath.clear();
        m_error = static_cast<ErrorCode>(status);
        return;
    }
    HKEY machine = nullptr;
    HKEY user = nullptr;
    status = ::RegCreateKeyExW(sandbox, L"HKEY_LOCAL_MACHINE", 0, nullptr, REG_OPTION_NON_VOLATILE,
                               KEY_ALL_ACCESS, nullptr, &machine, nullptr);
    if (status == ERROR_SUCCESS) {
        status =
            ::RegCreateKeyExW(sandbox, L"HKEY_CURRENT_USER", 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &user, nullptr);
    }
    ::RegCloseKey(sandbox);
    m_machineKey = machine;
    m_userKey = user;
    if (status == ERROR_SUCCESS) {
        status = ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine);
    }
    if (status == ERROR_SUCCESS) {
        status = ::RegOverridePredefKey(HKEY_CURRENT_USER, user);
    }
    m_error = static_cast<ErrorCode>(status);
    if (m_error == kErrorSuccess) {
        m_registry = MakeSystemRegistry(RegistryView::kNative);
    }
}

RegistrySandbox::~RegistrySandbox() {
    m_registry.reset();
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    if (m_machineKey != nullptr) {
        ::RegCloseKey(AsKey(m_machineKey));
    }
    if (m_userKey != nullptr) {
        ::RegCloseKey(AsKey(m_userKey));
    }
    if (!m_keyPath.empty()) {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, m_keyPath.c_str());
        ::RegDeleteKeyW(HKEY_CURRENT_USER, m_keyPath.c_str());
    }
}

} // namespace platform
