// ExportedObject<I>: an object made by another module's factory exports, with the module loaded
// by hand for as long as the object lives.
//
// Contract: Load loads the module by the product's search rules for it (the executable's folder,
// then this module's folder; platform/module_loader.h), resolves CvCreateObject and
// CvDestroyObject, makes the named object and asks it for I. It returns 0, or a Windows error
// number: the loader's (126 a missing module, 127 a missing export; kErrorObjectNotLoaded, 632,
// when the system gave none), the factory's, or 632 when the object doesn't offer I. Every failure
// undoes what was done, as Unload does: the object is destroyed by its module, the module is freed.
// Load on a loaded object unloads first. Not synchronised: the owner serialises Load and Unload.
#pragma once

#include "nexilo/event_queue.h"
#include "nexilo/exports.h"
#include "platform/error_codes.h"
#include "platform/module_loader.h"

#include <cstdint>
#include <string>

template <class I>
struct ExportedObjectTraits;

template <>
struct ExportedObjectTraits<IEventQueue> {
    static constexpr const wchar_t* kModuleName = L"hostcore.dll";
    static constexpr const wchar_t* kObjectName = kGlobalEventQueueName;
    static constexpr CvIid kIid = kIidEventQueue;
};

template <class I>
class ExportedObject {
public:
    using Traits = ExportedObjectTraits<I>;

    ExportedObject() = default;
    ExportedObject(const ExportedObject&) = delete;
    ExportedObject& operator=(const ExportedObject&) = delete;
    ~ExportedObject() { Unload(); }

    // slot 0: forwards to the object; null without one.
    virtual void* QueryInterface(CvIid iid) {
        return m_object != nullptr ? m_object->QueryInterface(iid) : nullptr;
    }

    std::uint32_t Load() { return Load(Traits::kModuleName); }

    // The same from another module name (tests load stand-ins and missing modules).
    std::uint32_t Load(const wchar_t* moduleName) {
        Unload();
        m_objectName = Traits::kObjectName;
        platform::ModuleResult loaded = platform::LoadModuleBesideExecutableOrSelf(moduleName);
        if (!loaded.module) {
            return Fail(loaded.error);
        }
        m_module = loaded.module.release();
        platform::ExportResult create = platform::FindExport(m_module, kCvCreateObjectName);
        if (create.address == nullptr) {
            return Fail(create.error);
        }
        platform::ExportResult destroy = platform::FindExport(m_module, kCvDestroyObjectName);
        if (destroy.address == nullptr) {
            return Fail(destroy.error);
        }
        m_create = reinterpret_cast<CvCreateObjectFn>(create.address);
        m_destroy = reinterpret_cast<CvDestroyObjectFn>(destroy.address);
        void* object = nullptr;
        std::uint32_t result = m_create(m_objectName.c_str(), kIidCvBaseInterface, &object);
        m_object = static_cast<ICvBaseInterface*>(object);
        if (result != 0) {
            Unload();
            return result;
        }
        m_interface =
            m_object != nullptr ? static_cast<I*>(m_object->QueryInterface(Traits::kIid)) : nullptr;
        if (m_interface == nullptr) {
            Unload();
            return platform::kErrorObjectNotLoaded;
        }
        return 0;
    }

    void Unload() {
        if (m_object != nullptr && m_destroy != nullptr) {
            m_destroy(m_objectName.c_str(), m_object);
        }
        m_interface = nullptr;
        m_object = nullptr;
        if (m_module != nullptr) {
            platform::ModuleTraits::Close(m_module);
            m_module = nullptr;
        }
        m_destroy = nullptr;
        m_create = nullptr;
        m_objectName.clear();
    }

    I* Interface() const noexcept { return m_interface; }

protected:
    platform::ModuleHandle m_module = nullptr;
    ICvBaseInterface* m_object = nullptr;
    I* m_interface = nullptr;
    CvDestroyObjectFn m_destroy = nullptr;
    CvCreateObjectFn m_create = nullptr;
    std::wstring m_objectName;

private:
    std::uint32_t Fail(std::uint32_t error) {
        Unload();
        return error != 0 ? error : platform::kErrorObjectNotLoaded;
    }
};
