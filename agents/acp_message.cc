#include "agents/acp_message.h"

#include <utility>

namespace zephyl::agents {
namespace {

using core::JSONValue;

// The code of a JSON-RPC internal error, used when the agent's code is unusable.
constexpr int64_t kInternalErrorCode = -32603;

ACPRemoteError remoteError(const JSONValue& error) {
  int64_t code = kInternalErrorCode;
  std::string message;
  std::optional<JSONValue> data;
  if (const auto* value = error.find("code"); value != nullptr && value->integer()) code = *value->integer();
  if (const auto* value = error.find("message"); value != nullptr && value->string())
    message = *value->string();
  if (const auto* value = error.find("data")) data = *value;
  return ACPRemoteError(code, std::move(message), std::move(data));
}

std::string frame(const JSONValue& message) { return message.serialized() + '\n'; }

}  // namespace

std::optional<ACPMessage> decodeACPMessage(std::string_view line) {
  JSONValue value;
  try {
    value = JSONValue::parse(line);
  } catch (const core::JSONValueError&) {
    return std::nullopt;
  }
  const auto* object = value.object();
  if (object == nullptr || object->empty()) return std::nullopt;

  const JSONValue* id = value.find("id");
  if (const auto* method = value.find("method"); method != nullptr && method->string()) {
    const JSONValue* params = value.find("params");
    JSONValue paramsValue = params != nullptr ? *params : JSONValue();
    if (id == nullptr) return ACPNotification{*method->string(), std::move(paramsValue)};
    if (!id->integer() && !id->string()) return std::nullopt;
    return ACPRequest{*id, *method->string(), std::move(paramsValue)};
  }

  if (id == nullptr || !id->integer()) return std::nullopt;
  if (const auto* error = value.find("error")) return ACPResponse{*id->integer(), remoteError(*error)};
  const auto* result = value.find("result");
  return ACPResponse{*id->integer(), result != nullptr ? *result : JSONValue()};
}

std::string encodeACPRequest(int64_t id, std::string_view method, const JSONValue& params) {
  return frame(JSONValue::Object{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
}

std::string encodeACPNotification(std::string_view method, const JSONValue& params) {
  return frame(JSONValue::Object{{"jsonrpc", "2.0"}, {"method", method}, {"params", params}});
}

std::string encodeACPResponse(const ACPRequestID& id, const ACPOutcome& outcome) {
  JSONValue::Object message{{"jsonrpc", "2.0"}, {"id", id}};
  if (const auto* result = std::get_if<JSONValue>(&outcome)) {
    message.emplace_back("result", *result);
  } else {
    const auto& error = std::get<ACPRemoteError>(outcome);
    JSONValue::Object body{{"code", error.code()}, {"message", error.message()}};
    if (error.data()) body.emplace_back("data", *error.data());
    message.emplace_back("error", std::move(body));
  }
  return frame(std::move(message));
}

}  // namespace zephyl::agents
