// The module's composition root: the one place that builds the agent's environment from the
// system's capabilities. The factory's agents and the flat exports' transient ones all get it
// from here; nothing else in the module reaches for a system capability on its own.
#pragma once

#include "agent/agent_environment.h"

// The production environment, built at the first call and kept while the module is loaded.
// Thread-safe.
const AgentEnvironment& ProductionEnvironment();
