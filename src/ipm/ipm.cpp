#include "ipm/ipm.h"

Ipm::Ipm(IIpmHost* host) : m_host(host) {
    m_logHandle.Acquire();
}

Ipm::~Ipm() {
    m_logHandle.Release();
}
