// How the dev kit's cloud client library answers: the decisions, over plain text, that the
// exports apply.
//
// The script is a JSON document (in the dev kit home, cloud/script.json):
//   {
//     "init": {"code": 0, "handle": true},
//     "register": {"code": 0},
//     "services": {
//       "nexilo/user_info": {
//         "getInfo": {"result": {"email": "a@b.c"}},
//         "*": {"error": {"code": 1, "message": "no"}}
//       }
//     }
//   }
// An answer is one of:
//   {"result": X}            a JSON-RPC reply whose result is X
//   {"error": X}             a JSON-RPC reply whose error is X
//   {"raw": "text"}          a reply of exactly this text (an array, a scalar, broken JSON...)
//   {"transport_error": N}   cvzephra_ask fails with N and gives no reply
//   {"no_reply": true}       cvzephra_ask succeeds and gives no reply record
// and any reply answer may add "kind": K to give the reply record another kind than 1.
// "*" as a method answers every method of its service without an answer of its own. A request
// without any answer gets the JSON-RPC error -32601 "Method not found". A missing script file
// answers everything that way and lets sessions start.
#pragma once

#include "platform/error_codes.h"

#include <cstdint>
#include <optional>
#include <string>

namespace devkit::cvzc {

// Results of the library that the dev kit's own failures use: Windows numbers, in the library's
// signed result type.
inline constexpr auto kCodeInvalidParameter =
    static_cast<std::int32_t>(platform::kErrorInvalidParameter);
inline constexpr auto kCodeInvalidHandle = static_cast<std::int32_t>(platform::kErrorInvalidHandle);
inline constexpr auto kCodeBadScript = static_cast<std::int32_t>(platform::kErrorInvalidData);
inline constexpr auto kCodeNotSupported = static_cast<std::int32_t>(platform::kErrorNotSupported);
inline constexpr auto kCodeWouldDeadlock =
    static_cast<std::int32_t>(platform::kErrorPossibleDeadlock);

struct InitBehaviour {
    std::int32_t code = 0;
    bool handle = true;
};

struct Answer {
    enum class Kind { Reply, TransportError, NoReply };
    Kind kind = Kind::Reply;
    std::int32_t code = 0; // the result of cvzephra_ask
    std::uint32_t replyKind = 1;
    std::string text; // the reply's bytes
};

// A parsed script; `error` holds a readable reason when the text could not be used.
class Script {
public:
    // An empty text is a script without answers.
    static Script Parse(const std::string& text);

    const std::string& Error() const { return m_error; }
    InitBehaviour Init() const;
    // What nexilo_register returns: {"register": {"code": N}} refuses every registration with N
    // (0, the default, accepts); a broken script refuses with kCodeBadScript.
    std::int32_t RegisterCode() const;
    // The answer to one request; `requestText` gives the reply its "id" when it has one.
    Answer Decide(const std::string& service, const std::string& method,
                  const std::string& requestText) const;

    Script(Script&& other) noexcept;
    Script& operator=(Script&& other) noexcept;
    ~Script();

private:
    Script() = default;
    void* m_root = nullptr; // json_t*, kept out of the header
    std::string m_error;
};

// The method named in a JSON-RPC request text, or nullopt when it has none.
std::optional<std::string> MethodOf(const std::string& requestText);

} // namespace devkit::cvzc
