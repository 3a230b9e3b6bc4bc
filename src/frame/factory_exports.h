// The factory export pair that every module of the product offers, defined once for all of them.
//
// Use NEXILO_DEFINE_FACTORY_EXPORTS() once, at namespace scope, in one source file of a module:
// it defines CvCreateObject and CvDestroyObject over the module's object registry, where the
// classes enter through their ExportedObjectDeclaration. Contract: nexilo/exports.h.
#pragma once

#include "frame/object_registry.h"
#include "nexilo/exports.h"

#include <type_traits>

#define NEXILO_DEFINE_FACTORY_EXPORTS()                                                            \
    NEXILO_EXPORT std::uint32_t NEXILO_CALL CvCreateObject(const wchar_t* name, CvIid iid,         \
                                                           void** object) {                        \
        return CreateExportedObject(name, iid, object);                                            \
    }                                                                                              \
    NEXILO_EXPORT void NEXILO_CALL CvDestroyObject(const wchar_t* name,                            \
                                                   ICvBaseInterface* object) {                     \
        DestroyExportedObject(name, object);                                                       \
    }                                                                                              \
    static_assert(std::is_same_v<decltype(&CvCreateObject), CvCreateObjectFn>);                    \
    static_assert(std::is_same_v<decltype(&CvDestroyObject), CvDestroyObjectFn>)
