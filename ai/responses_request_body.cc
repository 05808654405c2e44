#include "ai/responses_request_body.h"

#include "ai/ai_attachment_data_url.h"
#include "ai/ai_function_tool_loop.h"
#include "ai/ai_model_catalog.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

JSONValue message(std::string_view role, std::string_view partType, const std::vector<std::string>& texts) {
  JSONValue::Array content;
  for (const std::string& text : texts) {
    content.push_back(JSONValue::Object{{"type", partType}, {"text", text}});
  }
  return JSONValue::Object{{"role", role}, {"content", std::move(content)}};
}

JSONValue attachmentContent(const AIAttachment& attachment) {
  const std::string url = attachmentDataURL(attachment.mediaType, attachment.bytes);
  if (attachment.mediaType.starts_with("image/")) {
    return JSONValue::Object{{"type", "input_image"}, {"image_url", url}, {"detail", "auto"}};
  }
  return JSONValue::Object{{"type", "input_file"}, {"filename", attachment.name}, {"file_data", url}};
}

// Stored items of the same provider go back where they were produced; the
// message items among them are the assistant text that follows them.
void appendHistory(const AIStreamRequest& request, const ResponsesServiceMember& member,
                   JSONValue::Array& items) {
  for (const AIHistoryMessage& entry : request.history) {
    switch (entry.role) {
      case AIHistoryMessage::Role::kUser:
        if (!entry.textParts.empty()) items.push_back(message("user", "input_text", entry.textParts));
        break;
      case AIHistoryMessage::Role::kAssistant:
        for (const AIProviderResponseItem& item : entry.providerItems) {
          if (item.provider != member.provider) continue;
          const JSONValue* type = item.payload.find("type");
          if (type != nullptr && type->string() != nullptr && *type->string() == "message") continue;
          items.push_back(item.payload);
        }
        if (!entry.textParts.empty()) items.push_back(message("assistant", "output_text", entry.textParts));
        if (!entry.generatedImages.empty()) {
          // Only user messages carry images; the line says whose they are.
          JSONValue::Array content{JSONValue::Object{
              {"type", "input_text"},
              {"text", entry.generatedImages.size() == 1 ? "Previous assistant-generated image:"
                                                         : "Previous assistant-generated images:"}}};
          for (const AIAttachment& image : entry.generatedImages) content.push_back(attachmentContent(image));
          items.push_back(JSONValue::Object{{"role", "user"}, {"content", std::move(content)}});
        }
        break;
      case AIHistoryMessage::Role::kSystem:
      case AIHistoryMessage::Role::kTool:
        break;  // the caller folds these into the instructions
    }
  }
}

bool demandsSearch(const AIStreamRequest& request) { return request.webSearchMode == AIWebToolMode::kAlways; }

JSONValue imageFunctionTool() {
  JSONValue::Object properties{
      {"prompt",
       JSONValue::Object{{"type", "string"}, {"description", "A full description of the image to make."}}},
  };
  return JSONValue::Object{
      {"type", "function"},
      {"name", kImageFunctionToolName},
      {"description", "Generate one image from a description. At most four images per response."},
      {"parameters", JSONValue::Object{{"type", "object"},
                                       {"properties", std::move(properties)},
                                       {"required", JSONValue::Array{"prompt"}},
                                       {"additionalProperties", false}}},
      {"strict", true},
  };
}

}  // namespace

JSONValue::Array responsesInputItems(const AIStreamRequest& request, const ResponsesServiceMember& member) {
  if (request.input.find_first_not_of(" \t\r\n") == std::string::npos && request.attachments.empty()) {
    member.fail(ResponsesErrorCode::kEmptyPrompt, {});
  }
  JSONValue::Array items;
  appendHistory(request, member, items);
  JSONValue::Array content;
  if (!request.input.empty())
    content.push_back(JSONValue::Object{{"type", "input_text"}, {"text", request.input}});
  for (const AIAttachment& attachment : request.attachments) {
    if (attachment.bytes.size() > kMaximumResponsesAttachmentBytes) {
      member.fail(ResponsesErrorCode::kAttachmentTooLarge, attachment.name);
    }
    content.push_back(attachmentContent(attachment));
  }
  items.push_back(JSONValue::Object{{"role", "user"}, {"content", std::move(content)}});
  return items;
}

std::string encodeResponsesRequestBody(const AIStreamRequest& request, const ResponsesServiceMember& member,
                                       const JSONValue::Array& input) {
  const bool searching = request.webSearchMode != AIWebToolMode::kOff;
  const bool reasoning = request.reasoningEffort.has_value();

  JSONValue::Array include;
  if (reasoning && *request.reasoningEffort != ReasoningEffort::kNone)
    include.push_back("reasoning.encrypted_content");
  if (searching && member.requestsSearchSources) include.push_back("web_search_call.action.sources");

  JSONValue::Array tools;
  bool notesTool = false;
  if (searching) tools.push_back(JSONValue::Object{{"type", "web_search"}});
  if (request.allowsGeneratedImages) {
    tools.push_back(member.runsImageToolItself ? imageFunctionTool()
                                               : JSONValue::Object{{"type", "image_generation"}});
  }
  for (const auto& tool : offeredFunctionTools(request, member.offersNotesQueryTool)) {
    tools.push_back(tool->definition());
    notesTool = notesTool || isNotesQueryKind(tool->kind());
  }

  JSONValue::Object body{
      {"model", AIModelCatalog::serviceModelName(request.model)},
      {"store", false},
      {"stream", true},
      {"instructions", request.instructions},
      {"input", input},
      {"text", JSONValue::Object{{"verbosity", "low"}}},
      {"include", std::move(include)},
  };
  const bool hasTools = !tools.empty();
  if (hasTools) body.emplace_back("tools", std::move(tools));
  body.emplace_back("tool_choice", demandsSearch(request) ? "required" : "auto");
  // One notes query per response: the tool's answers are not independent.
  body.emplace_back("parallel_tool_calls", hasTools && !notesTool);
  if (reasoning) {
    body.emplace_back("reasoning",
                      JSONValue::Object{{"effort", rawValue(*request.reasoningEffort)}, {"summary", "auto"}});
  }
  if (request.conversationID) body.emplace_back("prompt_cache_key", *request.conversationID);
  return JSONValue(std::move(body)).serialized();
}

}  // namespace zephyl::ai
