#include "ai/responses_ai_service.h"

#include "ai/ai_function_tool_loop.h"
#include "ai/ai_request_budget.h"
#include "ai/ai_service_endpoint.h"
#include "ai/responses_request_body.h"
#include "ai/server_sent_event_exchange.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("ResponsesAIService");

constexpr long kUnauthorized = 401;

const std::string* stringAt(const core::JSONValue& item, std::string_view key) {
  const core::JSONValue* value = item.find(key);
  return value == nullptr ? nullptr : value->string();
}

// The finished function calls of a response, except those to `ownTool`.
std::vector<AIFunctionCall> functionCallsOf(const ResponsesStreamDecoder& decoder, std::string_view ownTool) {
  std::vector<AIFunctionCall> calls;
  for (const core::JSONValue& item : decoder.keptItems()) {
    const std::string* type = stringAt(item, "type");
    const std::string* name = stringAt(item, "name");
    if (type == nullptr || *type != "function_call" || name == nullptr || *name == ownTool) continue;
    const std::string* callID = stringAt(item, "call_id");
    const std::string* arguments = stringAt(item, "arguments");
    calls.push_back({callID != nullptr ? *callID : std::string(), *name,
                     arguments != nullptr ? *arguments : std::string()});
  }
  return calls;
}

}  // namespace

ResponsesAIService::ResponsesAIService(const ResponsesServiceMember& member, AIHTTPClient& http,
                                       std::string baseURL)
    : member_(member), http_(http), baseURL_(std::move(baseURL)) {}

std::string ResponsesAIService::url() const { return serviceURL(baseURL_, member_.path); }

std::string ResponsesAIService::requestBody(const AIStreamRequest& request) const {
  return encodeResponsesRequestBody(request, member_, responsesInputItems(request, member_));
}

std::optional<AIAccountAccess> ResponsesAIService::refreshAfterUnauthorized(const AIAccountAccess&,
                                                                            std::stop_token) {
  return std::nullopt;
}

core::JSONValue::Array ResponsesAIService::runOwnFunctionCalls(const ResponsesStreamDecoder&,
                                                               const AIStreamRequest&,
                                                               ResponsesRequestProgress&, std::stop_token,
                                                               const Emit&) {
  return {};
}

HTTPRequest ResponsesAIService::httpRequest(std::string body, const AIAccountAccess& access) const {
  HTTPRequest request;
  request.method = "POST";
  request.url = url();
  request.headers.emplace_back("Authorization", "Bearer " + access.accessToken);
  if (member_.sendsAccountID) {
    request.headers.emplace_back("chatgpt-account-id", access.accountID.value_or(""));
    request.headers.emplace_back("OpenAI-Beta", "responses=experimental");
    request.headers.emplace_back("originator", "zephyl");
  }
  request.headers.emplace_back("Content-Type", "application/json");
  request.headers.emplace_back("Accept", "text/event-stream");
  request.body = std::move(body);
  request.idleTimeout = kTimeout;
  return request;
}

void ResponsesAIService::exchange(const HTTPRequest& request, const AIStreamRequest& streamRequest,
                                  ResponsesStreamDecoder& decoder, std::stop_token stop, const Emit& emit) {
  // With "store": false a repeated request leaves nothing behind at the service.
  const SSEExchangeEnd end =
      exchangeServerSentEvents(http_, request, streamRequest.transportRetryPolicy, /*safeToRepeat=*/true,
                               stop, [&](const SSEEvent& event) { return decoder.decode(event, emit); });
  if (end == SSEExchangeEnd::kEndOfBody) {
    kLog.warning() << "Stream of " << member_.serviceName << " ended before a terminal event";
    member_.fail(ResponsesErrorCode::kStreamEndedEarly, {});
  }
}

void ResponsesAIService::produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) {
  if (!requireCredentialSafeURL(url())) member_.fail(ResponsesErrorCode::kInvalidURL, {});
  core::JSONValue::Array input = responsesInputItems(request, member_);
  AIAccountAccess credential = access(stop);
  bool refreshed = false;
  bool answered = false;
  std::vector<AIProviderResponseItem> kept;
  ResponsesRequestProgress progress;
  AIFunctionToolLoop tools(request, member_.offersNotesQueryTool, stop, emit);
  const std::string_view ownTool = member_.runsImageToolItself ? kImageFunctionToolName : std::string_view();

  for (int round = 0;; ++round) {
    if (stop.stop_requested()) throw core::CancellationError();
    const std::string body = encodeResponsesRequestBody(request, member_, input);
    ResponsesStreamDecoder decoder(member_);
    try {
      exchange(httpRequest(body, credential), request, decoder, stop, emit);
    } catch (const AIHTTPClientError& error) {
      if (error.status() == kUnauthorized && !refreshed) {
        if (auto fresh = refreshAfterUnauthorized(credential, stop)) {
          kLog.info() << "Retrying " << member_.serviceName << " with a refreshed token";
          credential = std::move(*fresh);
          refreshed = true;
          --round;
          continue;
        }
      }
      // A service that says the context overflowed is shown as the budget's failure.
      std::exception_ptr classified = classifyError(std::current_exception());
      try {
        std::rethrow_exception(classified);
      } catch (const AIRequestBudgetError&) {
        throw;
      } catch (...) {
      }
      member_.fail(ResponsesErrorCode::kHTTPStatus, std::to_string(error.status()));
    }

    if (decoder.usage()) emit(AIStreamEvent::UsageReported{decoder.usage()->usage});
    answered = answered || decoder.producedOutput();
    for (const core::JSONValue& item : decoder.keptItems()) {
      kept.push_back({member_.provider, item, decoder.responseID()});
    }
    core::JSONValue::Array outputs = runOwnFunctionCalls(decoder, request, progress, stop, emit);
    const std::vector<AIFunctionCall> calls = functionCallsOf(decoder, ownTool);
    for (AIFunctionCallOutput& output : tools.answer(calls)) {
      outputs.push_back(core::JSONValue::Object{{"type", "function_call_output"},
                                                {"call_id", output.callID},
                                                {"output", std::move(output.output)}});
    }
    if (outputs.empty() || (calls.empty() && round + 1 >= kMaximumOwnToolRounds)) break;
    for (const core::JSONValue& item : decoder.keptItems()) input.push_back(item);
    for (core::JSONValue& output : outputs) {
      kept.push_back({member_.provider, output, decoder.responseID()});
      input.push_back(std::move(output));
    }
  }

  if (!answered) member_.fail(ResponsesErrorCode::kEmptyResponse, {});
  if (!kept.empty()) emit(AIStreamEvent::ProviderResponseItems{std::move(kept)});
  emit(AIStreamEvent::Completed{});
}

}  // namespace zephyl::ai
