// Ipm: the in-product messaging member of the agent. For now it holds the pieces the agent's
// lifecycle relies on: the on/off flag (true at construction) and the logger reference that keeps
// the logging module loaded for the component's lifetime; the campaign store and the push flow
// join it later.
//
// Contract: made and destroyed with its owner, on the owner's thread. The state flag is atomic;
// nothing else here is shared between threads.
#pragma once

#include "diag/log_binding.h"
#include "ipm/ipm_host.h"
#include "nexilo/cv_value.h"

#include <atomic>

class Ipm {
public:
    explicit Ipm(IIpmHost* host);
    ~Ipm();
    Ipm(const Ipm&) = delete;
    Ipm& operator=(const Ipm&) = delete;

    IIpmHost* Host() const noexcept { return m_host; }
    bool State() const noexcept { return m_state.load(); }
    // Stores the flag, answering the one it replaces.
    bool ExchangeState(bool state) noexcept { return m_state.exchange(state); }

private:
    cv::Value m_campaign;
    IIpmHost* m_host;
    std::atomic<bool> m_state{true};
    logging::LogHandle m_logHandle;
};
