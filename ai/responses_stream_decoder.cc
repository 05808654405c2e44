#include "ai/responses_stream_decoder.h"

#include "core/base64.h"
#include "core/json_string_fields.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;
using Emit = AIStreamProvider::Emit;

constexpr core::Logger kLog("ResponsesStreamDecoder");

const std::string* stringAt(const JSONValue& value, std::string_view key) {
  const JSONValue* member = value.find(key);
  return member != nullptr ? member->string() : nullptr;
}

std::string stringOr(const JSONValue& value, std::string_view key, std::string fallback = {}) {
  const std::string* text = stringAt(value, key);
  return text != nullptr ? *text : fallback;
}

// "error.message" of a nested error event, else the flat "message".
std::string errorMessage(const JSONValue& error) {
  if (const JSONValue* nested = error.find("error"); nested != nullptr && nested->object() != nullptr) {
    if (const std::string* text = stringAt(*nested, "message")) return *text;
  }
  return stringOr(error, "message", "Unknown error");
}

std::string imageMediaType(std::string_view format) {
  if (format == "jpeg" || format == "jpg") return "image/jpeg";
  if (format == "webp") return "image/webp";
  return "image/png";
}

// The search text of a web search call: "action.query", the first of
// "action.queries", or (xAI) the "query" inside the call's JSON arguments.
std::optional<std::string> searchQuery(const JSONValue& item) {
  if (const JSONValue* action = item.find("action")) {
    if (const std::string* query = stringAt(*action, "query")) return *query;
    if (const JSONValue* queries = action->find("queries");
        queries != nullptr && queries->array() != nullptr) {
      for (const JSONValue& query : *queries->array()) {
        if (query.string() != nullptr) return *query.string();
      }
    }
  }
  if (const std::string* arguments = stringAt(item, "arguments")) {
    try {
      if (const std::string* query = stringAt(JSONValue::parse(*arguments), "query")) return *query;
    } catch (const core::JSONValueError&) {
    }
  }
  return std::nullopt;
}

}  // namespace

SSEEventOutcome ResponsesStreamDecoder::decode(const SSEEvent& event, const Emit& emit) {
  if (event.data == "[DONE]") return SSEEventOutcome::kEndOfStream;
  if (decodeDeltaFast(event, emit)) return SSEEventOutcome::kContinue;
  JSONValue message;
  try {
    message = JSONValue::parse(event.data);
  } catch (const core::JSONValueError& error) {
    kLog.debug() << "Skipped an event that is not JSON: " << error.description();
    return SSEEventOutcome::kContinue;
  }
  if (message.object() == nullptr) return SSEEventOutcome::kContinue;
  const std::string type = stringOr(message, "type", event.event.value_or(""));

  if (type == "response.output_text.delta" || type == "response.refusal.delta") {
    if (const std::string* delta = stringAt(message, "delta"))
      appendText(stringOr(message, "item_id"), *delta, emit);
  } else if (type == "response.reasoning_text.delta" || type == "response.reasoning_summary_text.delta") {
    if (const std::string* delta = stringAt(message, "delta")) appendReasoning(*delta, emit);
  } else if (type == "response.reasoning_summary_text.done" ||
             type == "response.reasoning_summary_part.done") {
    reasoningPartClosed_ = true;
  } else if (type == "response.output_item.done") {
    if (const JSONValue* item = message.find("item"); item != nullptr && item->object() != nullptr) {
      finishItem(*item, emit);
    }
  } else if (type == "response.output_text.annotation.added") {
    noteCitation(message);
  } else if (type == "response.web_search_call.in_progress" || type == "response.web_search_call.searching") {
    searchUpdate(message, false, emit);
  } else if (type == "response.web_search_call.completed") {
    searchUpdate(message, true, emit);
  } else if (type == "response.image_generation_call.in_progress" ||
             type == "response.image_generation_call.generating") {
    AIToolCallUpdate update;
    update.id = stringOr(message, "item_id");
    update.kind = AIToolKind::kImageGeneration;
    emit(AIStreamEvent::ToolCallUpdated{std::move(update)});
  } else if (type == "response.created" || type == "response.in_progress") {
    noteResponse(message, emit);
  } else if (type == "response.completed" || type == "response.done") {
    noteResponse(message, emit);
    usage_ = parseReportedUsage(message);
    emitSources(emit);
    return SSEEventOutcome::kEndOfStream;
  } else if (type == "response.incomplete") {
    if (auto usage = parseReportedUsage(message)) emit(AIStreamEvent::UsageReported{usage->usage});
    std::string reason;
    if (const JSONValue* response = message.find("response")) {
      if (const JSONValue* details = response->find("incomplete_details"))
        reason = stringOr(*details, "reason");
    }
    member_.fail(ResponsesErrorCode::kResponseIncomplete, reason);
  } else if (type == "response.failed") {
    const JSONValue* response = message.find("response");
    const JSONValue* error = response != nullptr ? response->find("error") : nullptr;
    member_.fail(ResponsesErrorCode::kResponseFailed,
                 error != nullptr && error->object() != nullptr ? errorMessage(*error) : "Unknown error");
  } else if (type == "error") {
    member_.fail(ResponsesErrorCode::kResponseFailed, errorMessage(message));
  }
  return SSEEventOutcome::kContinue;
}

std::vector<JSONValue> ResponsesStreamDecoder::functionCalls(std::string_view name) const {
  std::vector<JSONValue> calls;
  for (const JSONValue& item : keptItems_) {
    const std::string* type = stringAt(item, "type");
    const std::string* itemName = stringAt(item, "name");
    if (type != nullptr && *type == "function_call" && itemName != nullptr && *itemName == name) {
      calls.push_back(item);
    }
  }
  return calls;
}

bool ResponsesStreamDecoder::decodeDeltaFast(const SSEEvent& event, const Emit& emit) {
  if (!event.event) return false;
  const std::string& name = *event.event;
  const bool text = name == "response.output_text.delta" || name == "response.refusal.delta";
  if (!text && name != "response.reasoning_summary_text.delta" && name != "response.reasoning_text.delta") {
    return false;
  }
  static constexpr std::array<std::string_view, 3> kFields = {"type", "item_id", "delta"};
  auto fields = core::readJSONStringFields(event.data, kFields);
  // The "type" inside decides; a stream whose names disagree takes the full path.
  if (!fields || (*fields)[0] != name || !(*fields)[2]) return false;
  if (text) {
    appendText(std::move((*fields)[1]).value_or(""), *(*fields)[2], emit);
  } else {
    appendReasoning(*(*fields)[2], emit);
  }
  return true;
}

void ResponsesStreamDecoder::appendText(std::string itemID, const std::string& delta, const Emit& emit) {
  if (delta.empty()) return;
  // Commentary and the final answer come as separate message items.
  if (answerStarted_ && textItemID_ != itemID) emit(AIStreamEvent::AssistantMessageDelta{"\n\n"});
  textItemID_ = std::move(itemID);
  answerStarted_ = true;
  producedOutput_ = true;
  emit(AIStreamEvent::AssistantMessageDelta{delta});
}

void ResponsesStreamDecoder::appendReasoning(const std::string& delta, const Emit& emit) {
  if (delta.empty()) return;
  if (reasoningStarted_ && reasoningPartClosed_) emit(AIStreamEvent::ReasoningSummaryDelta{"\n\n"});
  reasoningStarted_ = true;
  reasoningPartClosed_ = false;
  emit(AIStreamEvent::ReasoningSummaryDelta{delta});
}

void ResponsesStreamDecoder::finishItem(const JSONValue& item, const Emit& emit) {
  const std::string type = stringOr(item, "type");
  if (type == "reasoning") {
    // output_item.added may hold a partial encrypted_content; this copy is whole.
    keptItems_.push_back(item);
  } else if (type == "function_call") {
    keptItems_.push_back(item);
    producedOutput_ = true;
  } else if (type == "web_search_call") {
    keptItems_.push_back(item);
    AIToolCallUpdate update;
    update.id = stringOr(item, "id");
    update.kind = AIToolKind::kWebSearch;
    update.status = stringOr(item, "status", "completed") == "failed" ? AIToolCallStatus::kFailed
                                                                      : AIToolCallStatus::kCompleted;
    update.query = searchQuery(item);
    if (const JSONValue* action = item.find("action")) {
      if (const JSONValue* sources = action->find("sources");
          sources != nullptr && sources->array() != nullptr) {
        for (const JSONValue& source : *sources->array()) {
          if (const std::string* url = stringAt(source, "url")) {
            update.sourceURLs.push_back(*url);
            if (seenSources_.insert(*url).second) sources_.push_back(*url);
          }
        }
      }
    }
    emit(AIStreamEvent::ToolCallUpdated{std::move(update)});
    emitSources(emit);
  } else if (type == "image_generation_call") {
    AIToolCallUpdate update;
    update.id = stringOr(item, "id");
    update.kind = AIToolKind::kImageGeneration;
    std::optional<std::string> bytes;
    if (const std::string* result = stringAt(item, "result")) bytes = core::base64Decode(*result);
    if (bytes && !bytes->empty()) {
      producedOutput_ = true;
      update.status = AIToolCallStatus::kCompleted;
      emit(AIStreamEvent::GeneratedImage{imageMediaType(stringOr(item, "output_format", "png")),
                                         std::move(*bytes)});
    } else {
      kLog.warning() << "Image generation call finished without a readable image";
      update.status = AIToolCallStatus::kFailed;
    }
    emit(AIStreamEvent::ToolCallUpdated{std::move(update)});
  }
}

void ResponsesStreamDecoder::searchUpdate(const JSONValue& message, bool completed, const Emit& emit) {
  AIToolCallUpdate update;
  update.id = stringOr(message, "item_id");
  update.kind = AIToolKind::kWebSearch;
  update.status = completed ? AIToolCallStatus::kCompleted : AIToolCallStatus::kRunning;
  emit(AIStreamEvent::ToolCallUpdated{std::move(update)});
}

void ResponsesStreamDecoder::noteResponse(const JSONValue& message, const Emit& emit) {
  if (responseID_) return;
  const JSONValue* response = message.find("response");
  if (response == nullptr) return;
  if (const std::string* id = stringAt(*response, "id"); id != nullptr && !id->empty()) {
    responseID_ = *id;
    emit(AIStreamEvent::RequestID{*id});
  }
}

void ResponsesStreamDecoder::noteCitation(const JSONValue& message) {
  const JSONValue* annotation = message.find("annotation");
  if (annotation == nullptr || stringOr(*annotation, "type") != "url_citation") return;
  if (const std::string* url = stringAt(*annotation, "url");
      url != nullptr && seenSources_.insert(*url).second) {
    sources_.push_back(*url);
  }
}

void ResponsesStreamDecoder::emitSources(const Emit& emit) {
  if (reportedSources_ == sources_.size()) return;
  emit(AIStreamEvent::WebSourcesDiscovered{
      {sources_.begin() + static_cast<ptrdiff_t>(reportedSources_), sources_.end()}});
  reportedSources_ = sources_.size();
}

}  // namespace zephyl::ai
