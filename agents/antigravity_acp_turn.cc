#include "agents/antigravity_acp_turn.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cctype>

#include "agents/antigravity_acp_error.h"
#include "ai/ai_model_catalog.h"
#include "ai/ai_model_profile.h"
#include "core/ascii_lowercase.h"
#include "core/utf8.h"

namespace zephyl::agents {
namespace {

using core::JSONValue;
using ServiceCode = AntigravityACPServiceError::Code;

std::string base64(std::string_view bytes) {
  std::string encoded(4 * ((bytes.size() + 2) / 3), '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  encoded.resize(static_cast<size_t>(length));
  return encoded;
}

std::string lowercaseExtension(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return {};
  return core::asciiLowercase(name.substr(dot + 1));
}

std::optional<std::string> imageMimeType(std::string_view name) {
  const std::string extension = lowercaseExtension(name);
  if (extension == "png") return "image/png";
  if (extension == "jpg" || extension == "jpeg") return "image/jpeg";
  if (extension == "gif") return "image/gif";
  if (extension == "webp") return "image/webp";
  return std::nullopt;
}

bool isText(const ai::AIAttachment& attachment) {
  return core::isValidUtf8(attachment.bytes) && attachment.bytes.find('\0') == std::string::npos;
}

JSONValue attachmentBlock(const ai::AIAttachment& attachment) {
  if (const auto mimeType = imageMimeType(attachment.name)) {
    return JSONValue::Object{{"type", "image"}, {"mimeType", *mimeType}, {"data", base64(attachment.bytes)}};
  }
  JSONValue::Object resource{{"uri", "zephyl-attachment:///" + attachment.name}};
  if (isText(attachment)) {
    resource.emplace_back("mimeType", "text/plain");
    resource.emplace_back("text", attachment.bytes);
  } else {
    resource.emplace_back("mimeType", "application/octet-stream");
    resource.emplace_back("blob", base64(attachment.bytes));
  }
  return JSONValue::Object{{"type", "resource"}, {"resource", std::move(resource)}};
}

const std::string* text(const JSONValue* value) { return value != nullptr ? value->string() : nullptr; }

std::optional<ai::AIToolCallStatus> toolStatus(std::string_view status) {
  if (status == "pending" || status == "in_progress") return ai::AIToolCallStatus::kRunning;
  if (status == "completed") return ai::AIToolCallStatus::kCompleted;
  if (status == "failed") return ai::AIToolCallStatus::kFailed;
  return std::nullopt;
}

}  // namespace

std::string_view antigravityACPWebSearchInstruction(ai::AIWebToolMode mode) {
  switch (mode) {
    case ai::AIWebToolMode::kAlways:  // the agent's search is its own, native one
    case ai::AIWebToolMode::kProviderNative:
      return "Use the native search_web tool before answering this request. Cite source URLs; if search "
             "fails, say "
             "so and do not claim to have verified current information.";
    case ai::AIWebToolMode::kAutomatic:
      return "Use the native search_web tool when current web information would help. Cite source URLs; "
             "report "
             "search failures honestly.";
    case ai::AIWebToolMode::kOff:
      return "Web search is disabled for this turn. Do not call search_web or any other web tools.";
  }
  return {};
}

std::string antigravityACPModelID(std::string_view modelID, std::optional<ai::ReasoningEffort> effort) {
  if (modelID.starts_with(ai::kACPAgentModelPrefix)) return {};
  const ai::AIModelProfile* profile = ai::antigravityProfile(modelID);
  if (profile == nullptr) return std::string(modelID);
  if (effort) {
    if (const auto it = profile->acpModelIDs.find(*effort); it != profile->acpModelIDs.end())
      return it->second;
  }
  const auto fallback = profile->acpModelIDs.find(profile->defaultReasoningEffort);
  return fallback != profile->acpModelIDs.end() ? fallback->second : std::string(modelID);
}

std::string antigravityACPPromptText(const ai::AIStreamRequest& request) {
  if (request.instructions.empty() || core::trimWhiteSpace(request.input).empty()) return request.input;
  return request.instructions + "\n\n" + request.input;
}

JSONValue antigravityACPPromptBlocks(std::string_view prompt, ai::AIWebToolMode mode,
                                     const std::vector<ai::AIAttachment>& attachments) {
  const bool blank =
      std::all_of(prompt.begin(), prompt.end(), [](unsigned char c) { return std::isspace(c); });
  if (blank) throw AntigravityACPServiceError(ServiceCode::kEmptyPrompt);
  size_t total = 0;
  for (const ai::AIAttachment& attachment : attachments) {
    if (attachment.bytes.size() > kAntigravityACPMaximumAttachmentBytes) {
      throw AntigravityACPServiceError(ServiceCode::kAttachmentTooLarge);
    }
    total += attachment.bytes.size();
    if (total > kAntigravityACPMaximumTotalAttachmentBytes) {
      throw AntigravityACPServiceError(ServiceCode::kTotalAttachmentsTooLarge);
    }
  }
  JSONValue::Array blocks{JSONValue::Object{
      {"type", "text"},
      {"text", std::string(prompt) + "\n\n" + std::string(antigravityACPWebSearchInstruction(mode))}}};
  for (const ai::AIAttachment& attachment : attachments) blocks.push_back(attachmentBlock(attachment));
  return blocks;
}

JSONValue antigravityACPPermissionAnswer(const JSONValue& params, bool permitsWebSearch) {
  const JSONValue* options = params.find("options");
  const auto firstOfKind = [options](std::string_view kind) -> const std::string* {
    if (options == nullptr || options->array() == nullptr) return nullptr;
    for (const JSONValue& option : *options->array()) {
      const std::string* optionKind = text(option.find("kind"));
      if (optionKind != nullptr && *optionKind == kind) return text(option.find("optionId"));
    }
    return nullptr;
  };
  const JSONValue* toolCall = params.find("toolCall");
  const std::string* chosen = nullptr;
  if (permitsWebSearch && toolCall != nullptr && !toolCall->isNull()) chosen = firstOfKind("allow_once");
  if (chosen == nullptr) chosen = firstOfKind("reject_once");
  if (chosen == nullptr) chosen = firstOfKind("reject_always");
  if (chosen == nullptr) return JSONValue::Object{{"outcome", JSONValue::Object{{"outcome", "cancelled"}}}};
  return JSONValue::Object{{"outcome", JSONValue::Object{{"outcome", "selected"}, {"optionId", *chosen}}}};
}

AntigravityACPSessionModels antigravityACPSessionModels(const JSONValue& sessionResult) {
  AntigravityACPSessionModels models;
  if (const JSONValue* options = sessionResult.find("configOptions"); options && options->array()) {
    for (const JSONValue& option : *options->array()) {
      const std::string* id = text(option.find("id"));
      const std::string* category = text(option.find("category"));
      if ((id == nullptr || *id != "model") && (category == nullptr || *category != "model")) continue;
      models.selector = AntigravityACPSessionModels::Selector::kConfigOption;
      if (const std::string* current = text(option.find("currentValue"))) models.current = *current;
      if (const JSONValue* values = option.find("options"); values && values->array()) {
        for (const JSONValue& value : *values->array()) {
          if (const std::string* name = text(value.find("value"))) models.available.push_back(*name);
        }
      }
      return models;
    }
  }
  if (const JSONValue* older = sessionResult.find("models"); older && older->object()) {
    models.selector = AntigravityACPSessionModels::Selector::kSetModel;
    if (const std::string* current = text(older->find("currentModelId"))) models.current = *current;
    if (const JSONValue* values = older->find("availableModels"); values && values->array()) {
      for (const JSONValue& value : *values->array()) {
        if (const std::string* name = text(value.find("modelId"))) models.available.push_back(*name);
      }
    }
  }
  return models;
}

std::optional<ai::AIStreamEvent> AntigravityACPTurnUpdates::apply(const JSONValue& update) {
  const std::string* kind = text(update.find("sessionUpdate"));
  if (kind == nullptr) return std::nullopt;
  if (*kind == "agent_message_chunk" || *kind == "agent_thought_chunk") {
    const JSONValue* content = update.find("content");
    const std::string* chunk = content != nullptr ? text(content->find("text")) : nullptr;
    if (chunk == nullptr) return std::nullopt;
    if (*kind == "agent_thought_chunk")
      return ai::AIStreamEvent(ai::AIStreamEvent::ReasoningSummaryDelta{*chunk});
    answer_ += *chunk;
    return ai::AIStreamEvent(ai::AIStreamEvent::AssistantMessageDelta{*chunk});
  }
  if (*kind != "tool_call" && *kind != "tool_call_update") return std::nullopt;
  const std::string* id = text(update.find("toolCallId"));
  if (id == nullptr) return std::nullopt;
  ai::AIToolCallUpdate& call = toolCalls_[*id];
  call.id = *id;
  const std::string* toolKind = text(update.find("kind"));
  if (toolKind != nullptr)
    call.kind = *toolKind == "fetch" ? ai::AIToolKind::kWebFetch : ai::AIToolKind::kWebSearch;
  if (const std::string* status = text(update.find("status"))) {
    if (const auto mapped = toolStatus(*status)) call.status = *mapped;
  }
  if (const JSONValue* input = update.find("rawInput")) {
    if (const std::string* query = text(input->find("query"))) call.query = *query;
    if (const std::string* url = text(input->find("url"))) call.urls = {*url};
  }
  return ai::AIStreamEvent(ai::AIStreamEvent::ToolCallUpdated{call});
}

}  // namespace zephyl::agents
