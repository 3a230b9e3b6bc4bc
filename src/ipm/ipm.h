// Ipm: the in-product messaging member of the agent. It keeps the one current campaign (which
// page to show, how large, until when, how often) and an on/off flag, both in the host's settings
// node "/Ipm", flat, so that they survive a restart:
//
//   url            string   the page to show
//   width, height  int32    the window's size
//   validity       int64    end of validity, stored as given; nothing here compares it with a clock
//   display_count  int32    how many times it is still to be shown
//   state          bool     the flag
//
// Numbers are doubles in the campaign value and are cut toward zero when stored. The user
// interface decides about display and expiry; Ipm only stores what it is given.
//
// Contract:
// - Init loads the flag, then the campaign. A load without plugin or node leaves both as they
//   are; a node without all five keys gives an empty campaign (the load stops at the first
//   missing key); otherwise the campaign is a dictionary of the five.
// - UpdateCurrentCampaign replaces the campaign in memory first, then saves it: a null value
//   writes nothing (so the old node comes back at the next start); a dictionary or an array of
//   exactly four entries passes the shape check, any other array is logged and not written; a
//   scalar, a missing key or a key of the wrong type throws cv::ValueException, and what was
//   written before the failing key stays written.
// - The flag is stored atomically; nothing in the agent consults it.
// - Push: Init starts a push client with the owner's identity on a request processor of its own,
//   and registers no topic; _UninitPush stops both. Both run on the owner's Init and UnInit
//   thread. A second start without a stop ends the process (the running processor is destroyed).
// - Threads: any. The campaign is replaced, saved and copied under a lock of its own, so callers
//   on several host threads see whole campaigns; subscribers are called without that lock.
#pragma once

#include "cloud/nexilo_push.h"
#include "cloud/request_processor.h"
#include "diag/log_binding.h"
#include "ipm/ipm_host.h"
#include "nexilo/cv_value.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace ipm_testing {
class IpmPeer;
}

class Ipm {
public:
    explicit Ipm(IIpmHost* host);
    ~Ipm();
    Ipm(const Ipm&) = delete;
    Ipm& operator=(const Ipm&) = delete;

    IIpmHost* Host() const noexcept { return m_host; }
    bool State() const noexcept { return m_state.load(); }

    // Loads the flag and the campaign, then starts push; true when the push client started.
    bool Init();
    // Stops push: the request processor runs what is queued and ends, the push client and its
    // library session go, and the stopped processor is kept, not destroyed. Call before the
    // owner's cloud session goes; nothing happens without a running push.
    void _UninitPush();
    // The push client's and processor's lines: an empty one is dropped, and one with a line feed
    // is cut at the last one.
    void _NxpLogCbk(const std::wstring& message);
    // Stores the flag, then saves it.
    void SetState(bool state);
    // Replaces `campaign` with a copy of the current campaign.
    void GetCurrentCampaign(cv::Value& campaign) const;
    void UpdateCurrentCampaign(const cv::Value& campaign);
    // Makes the fixed test campaign current, saves it and fires "new_campaign" with it.
    void TriggerTestCampaign(std::int32_t displayCount);

    // The fixed campaign of TriggerTestCampaign.
    static cv::Value TestCampaign(std::int32_t displayCount);

private:
    friend class ipm_testing::IpmPeer;

    void _LoadStateFromDisk();
    void _SaveStateToDisk();
    void _LoadCampaignFromDisk();
    void _SaveCampaignToDisk();
    void _ReplaceAndSaveCampaign(const cv::Value& campaign);
    bool _InitPush();
    logging::LogSink* Sink() const { return m_host->IpmLog(); }

    cv::Value m_campaign;
    IIpmHost* m_host;
    std::unique_ptr<nxp::NexiloPush> m_push;
    // A processor still running when Ipm is destroyed ends the process, as a thread would.
    std::unique_ptr<nxp::RequestProcessor> m_processor;
    std::atomic<bool> m_state{true};
    logging::LogHandle m_logHandle;
    mutable std::mutex m_campaignLock;
};
