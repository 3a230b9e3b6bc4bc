// The dev kit's cloud library loaded for a test, with the exports the product calls looked up.
#pragma once

#include "cloud/cloud_client_api.h"
#include "devkit/common/testing/module_exports.h"

namespace devkit_testing {

struct CvzcModule {
    ModuleExports exports{L"cvzc.dll"};
    cloud::CvzInitFn init = exports.Find<cloud::CvzInitFn>("cvzephra_init");
    cloud::CvzUninitFn uninit = exports.Find<cloud::CvzUninitFn>("cvzephra_uninit");
    cloud::CvzAskFn ask = exports.Find<cloud::CvzAskFn>("cvzephra_ask");
    cloud::CvzFreeResponseFn free =
        exports.Find<cloud::CvzFreeResponseFn>("cvzephra_free_response");
    cloud::CvzSetOptionFn setOption = exports.Find<cloud::CvzSetOptionFn>("cvzephra_set_option");
    cloud::NexiloRegisterFn enroll = exports.Find<cloud::NexiloRegisterFn>("nexilo_register");
};

} // namespace devkit_testing
