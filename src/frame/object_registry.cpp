#include "frame/object_registry.h"

#include "platform/error_codes.h"

constinit diag::SharedInstanceHolder<ObjectRegistry> g_objectRegistryHolder;

bool ObjectRegistry::Insert(const wchar_t* name, IObjectConstructor* constructor) {
    std::lock_guard lock(m_section);
    if (name == nullptr || m_map.find(name) != m_map.end()) {
        return false;
    }
    m_map.emplace(name, constructor);
    m_count = m_map.size();
    return true;
}

void ObjectRegistry::Erase(const wchar_t* name) {
    std::lock_guard lock(m_section);
    if (name != nullptr) {
        m_map.erase(name);
        m_count = m_map.size();
    }
}

IObjectConstructor* ObjectRegistry::FindLocked(const wchar_t* name) const {
    if (name == nullptr) {
        return nullptr;
    }
    auto found = m_map.find(name);
    return found != m_map.end() ? found->second : nullptr;
}

std::size_t ObjectRegistry::Count() const {
    std::lock_guard lock(m_section);
    return m_count;
}

std::uint32_t CreateExportedObject(const wchar_t* name, CvIid iid, void** object) {
    if (object == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    *object = nullptr;
    ICvBaseInterface* made = nullptr;
    {
        ObjectRegistryRef registry;
        if (ObjectRegistry* instance = registry.Acquire()) {
            std::lock_guard lock(instance->Section());
            if (IObjectConstructor* constructor = instance->FindLocked(name)) {
                made = constructor->CreateObject();
            }
        }
    }
    if (made == nullptr) {
        return platform::kErrorNotFound;
    }
    *object = made->QueryInterface(iid);
    if (*object != nullptr) {
        return platform::kErrorSuccess;
    }
    DestroyExportedObject(name, made);
    return platform::kErrorNotFound;
}

void DestroyExportedObject(const wchar_t* name, ICvBaseInterface* object) {
    ObjectRegistryRef registry;
    if (ObjectRegistry* instance = registry.Acquire()) {
        std::lock_guard lock(instance->Section());
        if (IObjectConstructor* constructor = instance->FindLocked(name)) {
            constructor->DestroyObject(object);
        }
    }
}
