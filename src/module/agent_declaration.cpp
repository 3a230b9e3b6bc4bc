// The agent enters the module's factory under its name when the module loads.
#include "agent/nexilo_agent.h"
#include "frame/exported_object_declaration.h"

namespace {

ExportedObjectDeclaration<NexiloAgent> g_agentDeclaration(kNexiloAgentObjectName);

} // namespace
