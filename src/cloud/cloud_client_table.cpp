#include "cloud/cloud_client_table.h"

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>

namespace cloud {

namespace {

struct ProcessTable {
    std::mutex mutex;
    std::atomic<CloudClientTable*> table{nullptr};
    int useCount = 0;
    std::wstring module = kCloudClientModule;
};

ProcessTable& Process() {
    static ProcessTable process;
    return process;
}

} // namespace

CloudClientTable* LoadCloudClient(const wchar_t* module) {
    auto* table = static_cast<CloudClientTable*>(std::malloc(sizeof(CloudClientTable)));
    if (table == nullptr) {
        return nullptr;
    }
    auto loaded = platform::LoadModule(module);
    if (!loaded.module) {
        std::free(table);
        return nullptr;
    }
    bool complete = true;
    for (std::size_t i = 0; i < kCloudClientExports.size(); ++i) {
        table->functions[i] =
            platform::FindExport(loaded.module.get(), kCloudClientExports[i]).address;
        complete = complete && table->functions[i] != nullptr;
    }
    if (!complete) {
        std::free(table);
        return nullptr;
    }
    table->module = loaded.module.release();
    return table;
}

void UnloadCloudClient(CloudClientTable* table) noexcept {
    if (table != nullptr) {
        platform::ModuleTraits::Close(table->module);
        std::free(table);
    }
}

CloudClientTable* AcquireProcessCloudClient() {
    auto& process = Process();
    std::lock_guard lock(process.mutex);
    if (process.useCount == 0) {
        process.table = LoadCloudClient(process.module.c_str());
    }
    CloudClientTable* table = process.table;
    if (table != nullptr) {
        ++process.useCount;
    }
    return table;
}

void ReleaseProcessCloudClient() noexcept {
    auto& process = Process();
    std::lock_guard lock(process.mutex);
    --process.useCount;
    if (process.useCount == 0 && process.table != nullptr) {
        UnloadCloudClient(process.table.exchange(nullptr));
    }
}

CloudClientTable* ProcessCloudClient() noexcept {
    return Process().table;
}

int ProcessCloudClientUseCount() noexcept {
    auto& process = Process();
    std::lock_guard lock(process.mutex);
    return process.useCount;
}

void SetProcessCloudClientModuleForTesting(const wchar_t* module) {
    auto& process = Process();
    std::lock_guard lock(process.mutex);
    process.module = module;
}

} // namespace cloud
