#include "cloud/cloud_client_table.h"

#include <cstdlib>

namespace cloud {

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

CloudClientTable* CloudClientUses::Acquire() {
    std::lock_guard lock(m_mutex);
    if (m_useCount == 0) {
        m_table = LoadCloudClient(m_module.c_str());
    }
    CloudClientTable* table = m_table;
    if (table != nullptr) {
        ++m_useCount;
    }
    return table;
}

void CloudClientUses::Release() noexcept {
    std::lock_guard lock(m_mutex);
    --m_useCount;
    if (m_useCount == 0 && m_table != nullptr) {
        UnloadCloudClient(m_table.exchange(nullptr));
    }
}

int CloudClientUses::UseCount() const noexcept {
    std::lock_guard lock(m_mutex);
    return m_useCount;
}

CloudClientUses& ProcessCloudClient() {
    static CloudClientUses uses;
    return uses;
}

} // namespace cloud
