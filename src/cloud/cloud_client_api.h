// The binary contract with the cloud client library (cvzc): its export names in table order, the
// records that cross into it, and the function types that the system calls.
//
// Shared by the module's binding and the dev kit's stand-in library; nothing else includes it.
// Records are naturally aligned and pointers stay pointers, so on x86_64 they are wider than on
// i686, where the sizes below are checked. Every function uses the C calling convention
// (NEXILO_CALL). The library owns what it hands out (sessions, reply records) until the matching
// release call; the caller owns the records it passes in.
#pragma once

#include "nexilo/exports.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace cloud {

using CvzSession = void*;

// One blocking request: `data` holds `size` bytes of UTF-8 JSON text (no NUL counted).
struct CvzRequest {
    const char* service;
    std::int32_t limit;
    std::int32_t kind;
    const char* data;
    std::uint32_t size;
};

// A reply allocated by the library and freed by cvzephra_free_response.
struct CvzReply {
    std::uint32_t reserved;
    std::uint32_t kind;
    char* data;
    std::uint32_t size;
};

// A message pushed to a registered client; valid only during the handler's call.
struct CvzMessage {
    std::uint32_t reserved;
    const char* data;
    std::uint32_t size;
};

using CvzHandler = void(NEXILO_CALL*)(const CvzMessage* message, void* context);

struct CvzCredentials {
    const char* userToken;
    const char* appId;
    const char* deviceId;
};

struct CvzTarget {
    const char* appId;
    const char* deviceId;
};

struct CvzCallbacks {
    CvzHandler statusHandler;
    CvzHandler messageHandler;
    void* context;
};

#if defined(_WIN32) && (defined(_M_IX86) || defined(__i386__))
static_assert(sizeof(CvzRequest) == 20 && sizeof(CvzReply) == 16 && sizeof(CvzMessage) == 12,
              "the library's 32-bit record layout");
static_assert(sizeof(CvzCallbacks) == 12);
#endif

inline constexpr std::int32_t kAskLimit = 5000;
inline constexpr std::int32_t kAskKind = 1;
inline constexpr std::uint32_t kReplyKindJson = 1;
inline constexpr std::int32_t kOptionApplied = 1;
inline constexpr std::int32_t kOptionAppliedValue = 1;
inline constexpr const char* kPushChannel = "secure_web";

using CvzInitFn = std::int32_t(NEXILO_CALL*)(CvzSession* session);
using CvzUninitFn = std::int32_t(NEXILO_CALL*)(CvzSession session);
using CvzAskFn = std::int32_t(NEXILO_CALL*)(CvzSession session, const CvzRequest* request,
                                            CvzReply** reply);
using CvzFreeResponseFn = void(NEXILO_CALL*)(CvzReply* reply);
using CvzSetOptionFn = std::int32_t(NEXILO_CALL*)(CvzSession session, std::int32_t option,
                                                  std::int32_t value);
using NexiloRegisterFn = std::int32_t(NEXILO_CALL*)(CvzSession session,
                                                    const CvzCredentials* credentials,
                                                    const CvzTarget* target, const char* type,
                                                    const char* channel,
                                                    const CvzCallbacks* callbacks);

// The library's exports in the order of the binding's table; all must exist for a load.
inline constexpr std::array<const char*, 34> kCloudClientExports{
    "cvzephra_init",
    "cvzephra_uninit",
    "cvzephra_push_info",
    "cvzephra_push_json",
    "cvzephra_push_bin",
    "cvzephra_ask",
    "cvzephra_ask_json",
    "cvzephra_ask_bin",
    "cvzephra_ask_async",
    "cvzephra_ask_json_async",
    "cvzephra_ask_bin_async",
    "cvzephra_free_response",
    "cvzephra_text",
    "cvzephra_set_option",
    "cvzephra_set_optionv",
    "cvzephra_get_option",
    "cvzephra_dup_option",
    "cvzephra_free_option",
    "cvzephra_file_upload",
    "cvzephra_file_upload_async",
    "cvzephra_mem_upload",
    "cvzephra_mem_upload_async",
    "cvzephra_json_alloc",
    "cvzephra_json_free",
    "cvzephra_json_object",
    "cvzephra_json_path",
    "cvzephra_json_foreach",
    "cvzephra_json_array_at",
    "cvzephra_json_array_size",
    "cvzephra_json_string",
    "cvzephra_json_long",
    "cvzephra_json_real",
    "cvzephra_json_type_of",
    "nexilo_register",
};

} // namespace cloud
