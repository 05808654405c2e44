#include "ai/xai_responses_ai_service.h"

#include "ai/ai_settings_keys.h"
#include "ai/responses_request_body.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

constexpr core::Logger kLog("XAIResponsesAIService");

[[noreturn]] void fail(ResponsesErrorCode code, std::string detail) {
  throw XAIResponsesAIServiceError(code, std::move(detail));
}

struct ImageCallOutcome {
  std::optional<std::string> failure;  // shown on the tool call
  std::string_view result;             // told to the model
};

std::optional<std::string> promptOf(const JSONValue& call) {
  const JSONValue* arguments = call.find("arguments");
  if (arguments == nullptr || arguments->string() == nullptr) return std::nullopt;
  try {
    const JSONValue parsed = JSONValue::parse(*arguments->string());
    const JSONValue* prompt = parsed.find("prompt");
    if (prompt == nullptr || prompt->string() == nullptr) return std::nullopt;
    if (prompt->string()->find_first_not_of(" \t\r\n") == std::string::npos) return std::nullopt;
    return *prompt->string();
  } catch (const core::JSONValueError&) {
    return std::nullopt;
  }
}

}  // namespace

const ResponsesServiceMember XAIResponsesAIService::kMember{
    .provider = AIProvider::kXAIAccount,
    .serviceName = XAIResponsesAIServiceError::kServiceName,
    .defaultBaseURL = kDefaultBaseURL,
    .path = "/responses",
    .missingCredentialText = XAIResponsesAIServiceError::kMissingCredentialText,
    .sendsAccountID = false,
    .runsImageToolItself = true,
    // xAI reports sources only as citations in the answer.
    .requestsSearchSources = false,
    .offersNotesQueryTool = true,
    .fail = fail,
};

XAIResponsesAIService::XAIResponsesAIService(AIHTTPClient& http, AIAccountAccessSource* account,
                                             AICredentialStore& credentials, AIImageGenerator* images,
                                             std::string baseURL)
    : ResponsesAIService(kMember, http, baseURL),
      account_(account),
      credentials_(credentials),
      ownImages_(
          http, [this](std::stop_token stop) { return access(std::move(stop)); }, std::move(baseURL)),
      images_(images != nullptr ? *images : ownImages_) {}

AIAccountAccess XAIResponsesAIService::access(std::stop_token stop) {
  if (account_ != nullptr) {
    if (auto access = account_->currentAccess(stop); access && !access->accessToken.empty()) return *access;
  }
  std::optional<std::string> key = credentials_.secret(std::string(kXAIAPIKeyName));
  if (!key || key->empty()) fail(ResponsesErrorCode::kMissingCredential, {});
  return {std::move(*key), std::nullopt};
}

std::optional<AIAccountAccess> XAIResponsesAIService::refreshAfterUnauthorized(
    const AIAccountAccess& rejected, std::stop_token stop) {
  if (account_ == nullptr) return std::nullopt;
  return account_->refreshAfterUnauthorized(rejected, stop);
}

JSONValue::Array XAIResponsesAIService::runOwnFunctionCalls(const ResponsesStreamDecoder& decoder,
                                                            const AIStreamRequest& request,
                                                            ResponsesRequestProgress& progress,
                                                            std::stop_token stop, const Emit& emit) {
  JSONValue::Array outputs;
  for (const JSONValue& call : decoder.functionCalls(kImageFunctionToolName)) {
    const JSONValue* callID = call.find("call_id");
    const std::string id =
        callID != nullptr && callID->string() != nullptr ? *callID->string() : std::string();
    AIToolCallUpdate update;
    update.id = id;
    update.kind = AIToolKind::kImageGeneration;
    const std::optional<std::string> prompt = promptOf(call);
    update.query = prompt;
    ImageCallOutcome outcome{std::nullopt, kImageShownResult};
    if (!prompt) {
      outcome = {std::string(kInvalidOptionsMessage), kInvalidOptionsResult};
    } else if (progress.generatedImages >= kMaximumImagesPerResponse) {
      outcome = {std::string(kImageLimitMessage), kImageFailedResult};
    } else {
      emit(AIStreamEvent::ToolCallUpdated{update});
      try {
        AIGeneratedImageData image = images_.generate({*prompt, request.model}, stop);
        ++progress.generatedImages;
        emit(AIStreamEvent::GeneratedImage{std::move(image.mediaType), std::move(image.bytes)});
      } catch (const AIImageGeneratorError& error) {
        kLog.warning() << "Image generation failed: " << error.description();
        switch (error.code()) {
          case AIImageGeneratorError::Code::kInvalidOptions:
            outcome = {std::string(kInvalidOptionsMessage), kInvalidOptionsResult};
            break;
          case AIImageGeneratorError::Code::kCopyrightedMaterial:
            outcome = {std::string(kCopyrightMessage), kCopyrightResult};
            break;
          case AIImageGeneratorError::Code::kFailed:
            outcome = {error.description(), kImageFailedResult};
            break;
        }
      }
    }
    update.status = outcome.failure ? AIToolCallStatus::kFailed : AIToolCallStatus::kCompleted;
    update.failureReason = outcome.failure;
    emit(AIStreamEvent::ToolCallUpdated{std::move(update)});
    outputs.push_back(
        JSONValue::Object{{"type", "function_call_output"}, {"call_id", id}, {"output", outcome.result}});
  }
  return outputs;
}

}  // namespace zephyl::ai
