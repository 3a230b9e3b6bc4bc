// The binding to the cloud client library: its function table, the load that demands all of its
// exports, and the counted uses of one shared load.
//
// LoadCloudClient returns a table that its caller owns with the module reference inside; it is
// given back with UnloadCloudClient. CloudClientUses loads its table at the first Acquire and
// unloads it when Release brings the count to exactly 0. The count is not guarded against going
// below 0: a release without an acquire (the clean-up of a failed start) leaves it at -1, after
// which the library is never loaded again through that object. Callers rely on that; do not
// "fix" it. A table still in use when the object is destroyed stays loaded.
// Threads: Acquire and Release are serialised by the object's mutex; Table() reads the pointer
// without it, which is safe while the reader's owner holds a use.
#pragma once

#include "cloud/cloud_client_api.h"
#include "platform/module_loader.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>

namespace cloud {

// Positions of the called exports in the table (and in kCloudClientExports).
enum class CloudExport : std::size_t {
    Init = 0,
    Uninit = 1,
    Ask = 5,
    FreeResponse = 11,
    SetOption = 13,
    Register = 33,
};

struct CloudClientTable {
    platform::ModuleHandle module;
    std::array<void*, kCloudClientExports.size()> functions;

    template <class Fn>
    Fn Get(CloudExport which) const noexcept {
        return reinterpret_cast<Fn>(functions[static_cast<std::size_t>(which)]);
    }
    CvzInitFn Init() const noexcept { return Get<CvzInitFn>(CloudExport::Init); }
    CvzUninitFn Uninit() const noexcept { return Get<CvzUninitFn>(CloudExport::Uninit); }
    CvzAskFn Ask() const noexcept { return Get<CvzAskFn>(CloudExport::Ask); }
    CvzFreeResponseFn FreeResponse() const noexcept {
        return Get<CvzFreeResponseFn>(CloudExport::FreeResponse);
    }
    CvzSetOptionFn SetOption() const noexcept {
        return Get<CvzSetOptionFn>(CloudExport::SetOption);
    }
    NexiloRegisterFn Register() const noexcept {
        return Get<NexiloRegisterFn>(CloudExport::Register);
    }
};

inline constexpr const wchar_t* kCloudClientModule = L"cvzc.dll";

// Loads the library (a bare name is looked for beside the executable, then the system's way) and
// resolves every export. Null when the module cannot be loaded or lacks any export, even one
// that nothing calls. The record comes from malloc.
CloudClientTable* LoadCloudClient(const wchar_t* module = kCloudClientModule);
// Frees the module reference and the record; null is ignored.
void UnloadCloudClient(CloudClientTable* table) noexcept;

class CloudClientUses {
public:
    explicit CloudClientUses(std::wstring module = kCloudClientModule)
        : m_module(std::move(module)) {}
    CloudClientUses(const CloudClientUses&) = delete;
    CloudClientUses& operator=(const CloudClientUses&) = delete;

    // One more use, loading the table when the count is 0. Null when there is no table; the
    // count is then unchanged.
    CloudClientTable* Acquire();
    // One use less, without a check; unloads at exactly 0.
    void Release() noexcept;
    // The table, or null.
    CloudClientTable* Table() const noexcept { return m_table; }
    int UseCount() const noexcept;

private:
    mutable std::mutex m_mutex;
    std::atomic<CloudClientTable*> m_table{nullptr};
    int m_useCount = 0;
    const std::wstring m_module;
};

// Process-wide: every agent and flat export of this module shares one load of the library, and
// the count must outlive each of them (a failed start's -1 is meant to stay).
CloudClientUses& ProcessCloudClient();

} // namespace cloud
