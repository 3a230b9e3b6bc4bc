// Test access to an EasyEQ: binds it to a queue the test made instead of loading hostcore.
#pragma once

#include "frame/easy_eq.h"

namespace frame_testing {

class EasyEQPeer {
public:
    // The EasyEQ then uses `queue` as if Load had made it; Stop closes it and forgets it.
    static void Bind(EasyEQ& easy, IEventQueue* queue) { easy.m_interface = queue; }
};

} // namespace frame_testing
