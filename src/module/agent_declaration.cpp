// The agent enters the module's factory under its name when the module loads, and each agent the
// factory makes gets the module's environment.
#include "agent/nexilo_agent.h"
#include "frame/exported_object_declaration.h"
#include "module/composition_root.h"

namespace {

ExportedObjectDeclaration<NexiloAgent> g_agentDeclaration(kNexiloAgentObjectName, [](void* memory) {
    return new (memory) NexiloAgent(ProductionEnvironment());
});

} // namespace
