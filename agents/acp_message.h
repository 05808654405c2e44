// ACP frames: JSON-RPC 2.0 messages, one JSON object a line, as the connection
// to an external agent reads and writes them. Knows no ACP method names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "core/error.h"
#include "core/json_value.h"

namespace zephyl::agents {

// The JSON-RPC error object of a response; thrown to the caller of a request
// that the agent answered with an error. The description is the agent's message.
class ACPRemoteError : public core::Error {
 public:
  ACPRemoteError(int64_t code, std::string message, std::optional<core::JSONValue> data = std::nullopt)
      : Error(message), code_(code), message_(std::move(message)), data_(std::move(data)) {}

  int64_t code() const { return code_; }
  const std::string& message() const { return message_; }
  const std::optional<core::JSONValue>& data() const { return data_; }

  bool operator==(const ACPRemoteError& other) const {
    return code_ == other.code_ && message_ == other.message_ && data_ == other.data_;
  }

 private:
  int64_t code_;
  std::string message_;
  std::optional<core::JSONValue> data_;
};

// What a request ends with: its result, or the error the other side answered.
using ACPOutcome = std::variant<core::JSONValue, ACPRemoteError>;

// The agent's own requests may carry integer ids (0 included) or string ids;
// the answer repeats the id exactly, so it is kept as the JSON value it came as.
using ACPRequestID = core::JSONValue;

struct ACPResponse {
  int64_t id = 0;
  ACPOutcome outcome;

  bool operator==(const ACPResponse&) const = default;
};

struct ACPNotification {
  std::string method;
  core::JSONValue params;  // null when absent

  bool operator==(const ACPNotification&) const = default;
};

struct ACPRequest {
  ACPRequestID id;  // an integer or a string
  std::string method;
  core::JSONValue params;  // null when absent

  bool operator==(const ACPRequest&) const = default;
};

using ACPMessage = std::variant<ACPResponse, ACPNotification, ACPRequest>;

// One line (without its line feed) as a message; nullopt when the line is not
// a non-empty JSON object of one of the three shapes. A trailing carriage
// return is white space to the JSON parser.
std::optional<ACPMessage> decodeACPMessage(std::string_view line);

// Frames as written: one compact JSON object followed by a line feed. Params
// are always written, null included. Throw core::JSONValueError when a string
// is not valid UTF-8.
std::string encodeACPRequest(int64_t id, std::string_view method, const core::JSONValue& params);
std::string encodeACPNotification(std::string_view method, const core::JSONValue& params);
std::string encodeACPResponse(const ACPRequestID& id, const ACPOutcome& outcome);

}  // namespace zephyl::agents
