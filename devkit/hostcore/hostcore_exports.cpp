// The module's factory exports, offering "GlobalEventQueue".
#include "devkit/hostcore/global_event_queue.h"
#include "frame/exported_object_declaration.h"
#include "frame/factory_exports.h"

namespace {

ExportedObjectDeclaration<devkit::hostcore::GlobalEventQueue>
    g_globalEventQueue(kGlobalEventQueueName);

} // namespace

NEXILO_DEFINE_FACTORY_EXPORTS();
