// ExportedObjectDeclaration<T>: the static object that offers class T under a name through the
// module's factory (object_registry.h).
//
// Contract: declare one instance per offered class at namespace scope; it enters the name at load
// and erases it at unload, holding a registry reference in between. CreateObject zero-fills the
// memory, constructs T in it (with its default constructor, or with the function the declaration
// was given, which is how a module's composition root hands objects their environment) and
// answers T's ICvBaseInterface; an allocation or constructor failure leaves as an exception.
// DestroyObject accepts only objects whose dynamic type is T (a checked cast), runs the destructor
// and frees the memory. Neither calls anything else on the object. T must derive from
// ICvBaseInterface exactly once.
#pragma once

#include "frame/object_registry.h"

#include <cstring>
#include <new>
#include <string>

template <class T>
class ExportedObjectDeclaration final : public IObjectConstructor {
public:
    // Constructs a T in the zeroed memory it is given.
    using Construct = T* (*)(void* memory);

    explicit ExportedObjectDeclaration(const wchar_t* name, Construct construct = &ConstructDefault)
        : m_name(name), m_construct(construct) {
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
            object = m_construct(memory);
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
    static T* ConstructDefault(void* memory) { return new (memory) T(); }

    std::wstring m_name;
    Construct m_construct;
    ObjectRegistryRef m_registry;
};
