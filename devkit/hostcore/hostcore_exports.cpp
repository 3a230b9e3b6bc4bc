// The module's factory exports, offering "GlobalEventQueue".
#include "frame/exported_object_declaration.h"
#include "global_event_queue.h"
#include "nexilo/exports.h"

#include <type_traits>

namespace {

ExportedObjectDeclaration<devkit::hostcore::GlobalEventQueue>
    g_globalEventQueue(kGlobalEventQueueName);

} // namespace

NEXILO_EXPORT std::uint32_t NEXILO_CALL CvCreateObject(const wchar_t* name, CvIid iid,
                                                       void** object) {
    return CreateExportedObject(name, iid, object);
}

NEXILO_EXPORT void NEXILO_CALL CvDestroyObject(const wchar_t* name, ICvBaseInterface* object) {
    DestroyExportedObject(name, object);
}

static_assert(std::is_same_v<decltype(&CvCreateObject), CvCreateObjectFn>);
static_assert(std::is_same_v<decltype(&CvDestroyObject), CvDestroyObjectFn>);
