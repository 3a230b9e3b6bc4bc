// The process-wide table of the classes a module offers by name, and the factory behind the
// module's CvCreateObject and CvDestroyObject exports.
//
// Contract:
// - Each offered class is entered by a static ExportedObjectDeclaration<T> (exported_object_
//   declaration.h) while the module loads; the first declaration of a name stays, a later one of
//   the same name is ignored, and unloading a declaration erases every entry of its name.
// - The registry is a shared instance (diag/shared_instance.h): made by the first reference,
//   destroyed by the last. Declarations hold one reference each for the module's life, the
//   factory one for the length of a call.
// - CreateExportedObject / DestroyExportedObject have the contract of the exports (nexilo/
//   exports.h). The registry's critical section is held across the construction and destruction
//   of objects, so those of one module run one at a time; a constructor or destructor must not
//   call back into the factory. An exception from a constructor leaves through the call.
// - Threads: any thread may use all of it.
#pragma once

#include "diag/shared_instance.h"
#include "nexilo/cv_base.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

// The abstract declaration of an offered class.
class IObjectConstructor {
public:
    // slot 0: a new object that the caller owns, as its ICvBaseInterface.
    virtual ICvBaseInterface* CreateObject() = 0;
    // slot 1: destroys an object of this class; ignores objects of other classes.
    virtual void DestroyObject(ICvBaseInterface* object) = 0;
    // slot 2: answers false; nothing calls it.
    virtual bool ReservedSlot2() = 0;

protected:
    ~IObjectConstructor() = default;
};

class ObjectRegistry {
public:
    // Enters `constructor` under `name` unless the name is taken. True when entered.
    bool Insert(const wchar_t* name, IObjectConstructor* constructor);
    // Erases the entries of `name`.
    void Erase(const wchar_t* name);
    // The declaration of `name`, or null. Call with the section held.
    IObjectConstructor* FindLocked(const wchar_t* name) const;
    std::size_t Count() const;

    // Re-entered by nothing in this module, but a critical section tolerates it, so the same
    // thread entering twice does not deadlock.
    std::recursive_mutex& Section() noexcept { return m_section; }

private:
    std::map<std::wstring, IObjectConstructor*> m_map;
    std::size_t m_count = 0;
    mutable std::recursive_mutex m_section;
};

// Process-wide by nature: static declarations enter their classes while the module loads, before
// anything could hand them a registry.
extern constinit diag::SharedInstanceHolder<ObjectRegistry> g_objectRegistryHolder;

using ObjectRegistryRef = diag::SharedRef<ObjectRegistry, g_objectRegistryHolder>;

std::uint32_t CreateExportedObject(const wchar_t* name, CvIid iid, void** object);
void DestroyExportedObject(const wchar_t* name, ICvBaseInterface* object);
