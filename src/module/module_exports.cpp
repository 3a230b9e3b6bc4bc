// The module's factory exports. The classes the module offers enter the object registry through
// their static declarations; the module's load entry point is the toolchain's default, which
// does no work of its own.
#include "frame/object_registry.h"
#include "nexilo/exports.h"

#include <type_traits>

NEXILO_EXPORT std::uint32_t NEXILO_CALL CvCreateObject(const wchar_t* name, CvIid iid,
                                                       void** object) {
    return CreateExportedObject(name, iid, object);
}

NEXILO_EXPORT void NEXILO_CALL CvDestroyObject(const wchar_t* name, ICvBaseInterface* object) {
    DestroyExportedObject(name, object);
}

static_assert(std::is_same_v<decltype(&CvCreateObject), CvCreateObjectFn>);
static_assert(std::is_same_v<decltype(&CvDestroyObject), CvDestroyObjectFn>);
