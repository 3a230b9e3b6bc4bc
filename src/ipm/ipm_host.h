// What Ipm needs from its owner, which implements it: the host's settings plugin and the identity.
// Keeps ipm/ independent of the agent. Called on the owner's threads.
#pragma once

#include "nexilo/hk_settings.h"

class IIpmHost {
public:
    // The settings plugin the owner holds, or null while it holds none.
    virtual IHKSettings* IpmSettings() = 0;

protected:
    ~IIpmHost() = default;
};
