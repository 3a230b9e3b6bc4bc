// ExportedObjectDeclaration<T>: the static object that offers class T under a name through the
// module's factory (object_registry.h).
//
// Contract: declare one instance per offered class at namespace scope; it enters the name at load
// and erases it at unload, holding a registry reference in between. CreateObject zero-fills the
// memory, runs T's default constructor and answers T's ICvBaseInterface; an allocation or
// constructor failure leaves as an exception. DestroyObject accepts only objects whose dynamic
// type is T (a checked cast), runs the destructor and frees the memory. Neither calls anything
// else on the object. T must derive from ICvBaseInterface exactly once.
#pragma once

#include "frame/object_registry.h"

#include <cstring>
#include <new>
#include <string>

template <class T>
class ExportedObjectDeclaration final : public IObjectConstructor {
public:
    explicit ExportedObjectDeclaration(const wchar_t* name) : m_name(name) {
        if (ObjectRegistry* registry = m_registry.Acquire()) {
            registry->Insert(m_name.c_str(), this);
        }
    }

    ~ExportedObjectDeclaration() {
        if (ObjectRegistry* registry = m_registry.get()) {
            registry->Erase(m_name.c_str());
        }
        m_registry.Release();
    }

    ExportedObjectDeclaration(const ExportedObjectDeclaration&) = delete;
    ExportedObjectDeclaration& operator=(const ExportedObjectDeclaration&) = delete;

    ICvBaseInterface* CreateObject() override {
        void* memory = ::operator new(sizeof(T));
        std::memset(memory, 0, sizeof(T));
        T* object = nullptr;
        try {
            object = new (memory) T();
        } catch (...) {
            ::operator delete(memory);
            throw;
        }
        return static_cast<ICvBaseInterface*>(object->QueryInterface(kIidCvBaseInterface));
    }

    void DestroyObject(ICvBaseInterface* object) override {
        T* typed = dynamic_cast<T*>(object);
        if (typed == nullptr) {
            return;
        }
        typed->~T();
        ::operator delete(static_cast<void*>(typed));
    }

    bool ReservedSlot2() override { return false; }

    const std::wstring& Name() const noexcept { return m_name; }

private:
    std::wstring m_name;
    ObjectRegistryRef m_registry;
};
