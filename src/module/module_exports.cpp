// The module's factory exports. The classes the module offers enter the object registry through
// their static declarations; the module's load entry point is the toolchain's default, which
// does no work of its own.
#include "frame/factory_exports.h"

NEXILO_DEFINE_FACTORY_EXPORTS();
