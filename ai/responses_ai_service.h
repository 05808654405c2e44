// ResponsesAIService: the shared core of the Responses family (the ChatGPT
// account, the OpenAI API, xAI). One streamed POST per round: the body from
// responses_request_body, the events through ResponsesStreamDecoder. A member
// adapter supplies its credential, may refresh it once after a 401, and may run
// function calls itself, which starts another round with their outputs.
#pragma once

#include <optional>
#include <string>

#include "ai/ai_account_access.h"
#include "ai/ai_http_client.h"
#include "ai/ai_stream_provider.h"
#include "ai/responses_service_member.h"
#include "ai/responses_stream_decoder.h"

namespace zephyl::ai {

// What the rounds of one request share.
struct ResponsesRequestProgress {
  int generatedImages = 0;
};

class ResponsesAIService : public AIStreamProvider {
 public:
  // Rounds of function calls that Zephyl answers itself within one request.
  static constexpr int kMaximumOwnToolRounds = 4;
  static constexpr std::chrono::seconds kTimeout{60};

  // `member` and `http` must outlive the service; `baseURL` is the root that
  // the member's path is appended to.
  ResponsesAIService(const ResponsesServiceMember& member, AIHTTPClient& http, std::string baseURL);

  // Throws the member's error type (see ResponsesErrorCode),
  // AIServiceEndpointError for a credential bound for plain http,
  // AIRequestBudgetError when an HTTP failure says the context overflowed,
  // HTTPTransportError, core::CancellationError.
  void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) override;

  // The body of the request's first round, exactly as it would be sent.
  std::string requestBody(const AIStreamRequest& request) const;
  std::string url() const;

 protected:
  // The credential for this request; fails with kMissingCredential when none.
  virtual AIAccountAccess access(std::stop_token stop) = 0;
  // After a 401: a fresh credential to try once more, or nullopt to fail.
  virtual std::optional<AIAccountAccess> refreshAfterUnauthorized(const AIAccountAccess& rejected,
                                                                  std::stop_token stop);
  // The "function_call_output" items for the calls of `decoder` that this
  // service runs itself; empty when there are none and the request is done.
  virtual core::JSONValue::Array runOwnFunctionCalls(const ResponsesStreamDecoder& decoder,
                                                     const AIStreamRequest& request,
                                                     ResponsesRequestProgress& progress, std::stop_token stop,
                                                     const Emit& emit);

  const ResponsesServiceMember& member() const { return member_; }

 private:
  HTTPRequest httpRequest(std::string body, const AIAccountAccess& access) const;
  // One round; returns the decoder after a terminal event.
  void exchange(const HTTPRequest& request, const AIStreamRequest& streamRequest,
                ResponsesStreamDecoder& decoder, std::stop_token stop, const Emit& emit);

  const ResponsesServiceMember& member_;
  AIHTTPClient& http_;
  std::string baseURL_;
};

}  // namespace zephyl::ai
