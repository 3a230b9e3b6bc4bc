// What Ipm needs from its owner, which implements it: the host's settings plugin, the log, the
// owner's subscribers, and the identity and cloud library for push. Keeps ipm/ independent of the
// agent. Called on the owner's threads.
#pragma once

#include "cloud/nexilo_push.h"
#include "diag/log.h"
#include "foundation/json.h"
#include "nexilo/cv_value.h"
#include "nexilo/hk_settings.h"

class IIpmHost {
public:
    // The settings plugin the owner holds, or null while it holds none.
    virtual IHKSettings* IpmSettings() = 0;
    // Where Ipm's lines go; null: the logging module.
    virtual logging::LogSink* IpmLog() = 0;
    // Calls every subscriber of the owner with the event, on the calling thread.
    virtual void IpmFire(const wchar_t* name, const cv::Value& data) = 0;
    // The identity as a cloud source document: user_token, app_id, device_id, in this order.
    virtual cv::Json IpmIdentitySource() = 0;
    // How the push client loads its private copy of the cloud client library.
    virtual nxp::CloudClientLoader IpmPushLoader() = 0;

protected:
    ~IIpmHost() = default;
};
