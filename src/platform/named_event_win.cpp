#include "platform/named_event.h"

#include "platform/unique_resource.h"
#include "platform/win/windows_include.h"

#include <utility>

namespace platform {

namespace {

class WinNamedEvent final : public NamedEvent {
public:
    explicit WinNamedEvent(UniqueHandle handle) : m_handle(std::move(handle)) {}

    bool Set() override { return ::SetEvent(m_handle.get()) != FALSE; }
    std::uint32_t Wait(std::uint32_t timeoutMs) override {
        return ::WaitForSingleObject(m_handle.get(), timeoutMs);
    }

private:
    UniqueHandle m_handle;
};

class WinNamedEvents final : public NamedEvents {
public:
    NamedEventResult CreateOrOpen(const std::wstring& name) override {
        NamedEventResult result;
        SECURITY_DESCRIPTOR descriptor;
        if (!::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION)) {
            result.failedAt = NamedEventStage::kSecurityDescriptor;
            result.error = ::GetLastError();
            return result;
        }
        // A present but null DACL: the node service may run as another user than the host.
        if (!::SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE)) {
            result.failedAt = NamedEventStage::kSecurityDacl;
            result.error = ::GetLastError();
            return result;
        }
        SECURITY_ATTRIBUTES attributes{};
        attributes.nLength = sizeof(attributes);
        attributes.lpSecurityDescriptor = &descriptor;
        attributes.bInheritHandle = FALSE;
        UniqueHandle handle(::CreateEventW(&attributes, FALSE, FALSE, name.c_str()));
        if (!handle) {
            result.failedAt = NamedEventStage::kCreate;
            result.error = ::GetLastError();
            return result;
        }
        result.event = std::make_unique<WinNamedEvent>(std::move(handle));
        return result;
    }
};

} // namespace

NamedEvents& SystemNamedEvents() {
    static WinNamedEvents events;
    return events;
}

void DiscardNamedEvent(const std::wstring&) {}

} // namespace platform
