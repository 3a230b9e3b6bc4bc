// The module's factory exports, offering "GlobalEventQueue".
#include "frame/exported_object_declaration.h"
#include "frame/factory_exports.h"
#include "global_event_queue.h"

namespace {

ExportedObjectDeclaration<devkit::hostcore::GlobalEventQueue>
    g_globalEventQueue(kGlobalEventQueueName);

} // namespace

NEXILO_DEFINE_FACTORY_EXPORTS();
