// IServPlugin: the interface through which the host starts and stops a plug-in object.
//
// Contract: the host calls Init once with its host interface before any other use, and UnInit
// before it destroys the object; Init may follow UnInit again. Init returns 0, or 0xFFFFFFFF when
// the plug-in cannot run. The host interface stays the host's and must outlive UnInit.
#pragma once

#include "nexilo/cv_base.h"
#include "nexilo/host_interfaces.h"

#include <cstdint>

inline constexpr CvIid kIidServPlugin{{0x414E2323, 0x983304D0, 0x7C884176, 0xE952825D}};

class IServPlugin : public ICvBaseInterface {
public:
    // slot 1
    virtual std::uint32_t Init(IServHost* host) = 0;
    // slot 2
    virtual void UnInit() = 0;
    // slot 3: answers 0, has no effect.
    virtual std::uint32_t ReservedSlot3() = 0;
    // slot 4: does nothing.
    virtual void ReservedSlot4() = 0;

protected:
    ~IServPlugin() = default;
};
