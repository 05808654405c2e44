// ResponsesServiceMember: how one service of the Responses family differs from
// the others. The shared core (request body, stream decoding, exchange) reads
// only this; each member's adapter supplies its own.
#pragma once

#include <string>
#include <string_view>

#include "ai/ai_provider.h"

namespace zephyl::ai {

enum class ResponsesErrorCode {
  kEmptyPrompt,
  kMissingCredential,
  kInvalidURL,
  kEmptyResponse,
  kResponseFailed,      // detail: the service's message
  kResponseIncomplete,  // detail: the reason, possibly empty
  kHTTPStatus,          // detail: the status number
  kAttachmentTooLarge,  // detail: the file name
  kStreamEndedEarly,
};

struct ResponsesServiceMember {
  AIProvider provider = AIProvider::kCodex;
  std::string_view serviceName;  // "ChatGPT": the name in every message
  std::string_view defaultBaseURL;
  std::string_view path;  // appended to the base URL
  std::string_view missingCredentialText;
  bool sendsAccountID = false;         // "chatgpt-account-id" and the backend's headers
  bool runsImageToolItself = false;    // image generation as a function tool that Zephyl runs
  bool requestsSearchSources = false;  // include "web_search_call.action.sources"
  bool offersNotesQueryTool = false;
  // Throws the member's own error type.
  [[noreturn]] void (*fail)(ResponsesErrorCode code, std::string detail) = nullptr;
};

}  // namespace zephyl::ai
