#include "assistant/chat_session_json.h"

#include <utility>

#include "core/enum_names.h"
#include "core/json_tape.h"

namespace zephyl::assistant {
namespace {

using core::JSONValue;

constexpr core::EnumNames<ChatMessageRole, 3> kRoleNames({{
    {ChatMessageRole::kContext, "context"},
    {ChatMessageRole::kUser, "user"},
    {ChatMessageRole::kAssistant, "assistant"},
}});

constexpr core::EnumNames<ChatImageSubtype, 5> kSubtypeNames({{
    {ChatImageSubtype::kPNG, "png"},
    {ChatImageSubtype::kJPEG, "jpeg"},
    {ChatImageSubtype::kGIF, "gif"},
    {ChatImageSubtype::kWebP, "webp"},
    {ChatImageSubtype::kHEIC, "heic"},
}});

constexpr core::EnumNames<ai::AIToolKind, 5> kToolKindNames({{
    {ai::AIToolKind::kWebSearch, "webSearch"},
    {ai::AIToolKind::kWebFetch, "webFetch"},
    {ai::AIToolKind::kImageGeneration, "imageGeneration"},
    {ai::AIToolKind::kNoteSearch, "noteSearch"},
    {ai::AIToolKind::kNoteCount, "noteCount"},
}});

constexpr core::EnumNames<ai::AIToolCallStatus, 4> kToolStatusNames({{
    {ai::AIToolCallStatus::kRunning, "running"},
    {ai::AIToolCallStatus::kCompleted, "completed"},
    {ai::AIToolCallStatus::kFailed, "failed"},
    {ai::AIToolCallStatus::kCancelled, "cancelled"},
}});

constexpr core::EnumNames<ChatContextCard::Kind, 2> kCardKindNames({{
    {ChatContextCard::Kind::kAppleNotes, "appleNotes"},
    {ChatContextCard::Kind::kExternalApp, "externalApp"},
}});

constexpr core::EnumNames<ChatAttachment::Kind, 2> kAttachmentKindNames({{
    {ChatAttachment::Kind::kImage, "image"},
    {ChatAttachment::Kind::kFile, "file"},
}});

constexpr core::EnumNames<ChatTurnInput::ReferenceKind, 7> kReferenceKindNames({{
    {ChatTurnInput::ReferenceKind::kNote, "note"},
    {ChatTurnInput::ReferenceKind::kSelection, "selection"},
    {ChatTurnInput::ReferenceKind::kAttachment, "attachment"},
    {ChatTurnInput::ReferenceKind::kWebSearch, "webSearch"},
    {ChatTurnInput::ReferenceKind::kWebFetch, "webFetch"},
    {ChatTurnInput::ReferenceKind::kTranscript, "transcript"},
    {ChatTurnInput::ReferenceKind::kSkillDefinition, "skillDefinition"},
}});

// ---- Writing

class ObjectBuilder {
 public:
  ObjectBuilder& add(std::string key, JSONValue value) {
    object_.emplace_back(std::move(key), std::move(value));
    return *this;
  }
  template <typename T>
  ObjectBuilder& optional(std::string key, const std::optional<T>& value) {
    if (value) add(std::move(key), JSONValue(*value));
    return *this;
  }
  template <typename T, typename Encode>
  ObjectBuilder& list(std::string key, const std::vector<T>& items, Encode encode) {
    JSONValue::Array array;
    array.reserve(items.size());
    for (const T& item : items) array.push_back(encode(item));
    return add(std::move(key), std::move(array));
  }
  ObjectBuilder& strings(std::string key, const std::vector<std::string>& items) {
    return list(std::move(key), items, [](const std::string& item) { return JSONValue(item); });
  }
  JSONValue build() { return JSONValue(std::move(object_)); }

 private:
  JSONValue::Object object_;
};

JSONValue date(core::TimePoint time) { return core::formatIso8601(time); }

JSONValue encodeImage(const ChatStoredImage& image) {
  return ObjectBuilder()
      .add("mimeSubtype", kSubtypeNames.name(image.mimeSubtype))
      .add("relativePath", image.relativePath)
      .add("byteCount", image.byteCount)
      .build();
}

JSONValue encodeNoteContext(const AINoteContext& context) {
  return ObjectBuilder()
      .add("appName", context.appName)
      .add("isAppleNotesActive", context.isAppleNotesActive)
      .add("selectedText", context.selectedText)
      .add("currentLine", context.currentLine)
      .add("noteText", context.noteText)
      .optional("noteID", context.noteID)
      .optional("noteTitle", context.noteTitle)
      .optional("sourceBundleID", context.sourceBundleID)
      .add("capturedAt", date(context.capturedAt))
      .build();
}

JSONValue encodeTurnInput(const ChatTurnInput& input) {
  return ObjectBuilder()
      .add("request", input.request)
      .list(
          "skills", input.skills,
          [](const ChatTurnInput::SelectedSkill& skill) {
            return ObjectBuilder().add("title", skill.title).add("instructions", skill.instructions).build();
          })
      .list("references", input.references,
            [](const ChatTurnInput::ReferenceBlock& block) {
              return ObjectBuilder()
                  .add("kind", kReferenceKindNames.name(block.kind))
                  .optional("title", block.title)
                  .optional("detail", block.detail)
                  .add("content", block.content)
                  .build();
            })
      .optional("defaultPreferences", input.defaultPreferences)
      .optional("customPreferences", input.customPreferences)
      .build();
}

JSONValue encodeToolCall(const ChatToolCall& call) {
  return ObjectBuilder()
      .add("kind", kToolKindNames.name(call.kind))
      .add("status", kToolStatusNames.name(call.status))
      .optional("query", call.query)
      .optional("failureReason", call.failureReason)
      .strings("urls", call.urls)
      .strings("sourceURLs", call.sourceURLs)
      .list("noteSources", call.noteSources,
            [](const ai::AINoteSource& source) {
              return ObjectBuilder().add("noteID", source.noteID).add("title", source.title).build();
            })
      .optional("noteCount", call.noteCount)
      .build();
}

JSONValue encodeMessage(const ChatMessage& message) {
  ObjectBuilder builder;
  builder.add("id", message.id)
      .add("role", message.role == ChatMessageRole::kLegacy ? std::string_view(message.legacyRole)
                                                            : kRoleNames.name(message.role))
      .add("text", message.text)
      .optional("reasoningSummary", message.reasoningSummary)
      .list("webSearchSources", message.webSearchSources,
            [](const ChatWebSource& source) {
              return ObjectBuilder().add("url", source.url).optional("title", source.title).build();
            })
      .list("toolCalls", message.toolCalls, encodeToolCall)
      .list("providerResponseItems", message.providerResponseItems,
            [](const ai::AIProviderResponseItem& item) {
              return ObjectBuilder()
                  .add("provider", ai::rawValue(item.provider))
                  .add("payload", item.payload)
                  .optional("responseID", item.responseID)
                  .build();
            });
  if (message.turnInput) builder.add("turnInput", encodeTurnInput(*message.turnInput));
  if (message.contextCard) {
    const ChatContextCard& card = *message.contextCard;
    builder.add("contextCard", ObjectBuilder()
                                   .add("kind", kCardKindNames.name(card.kind))
                                   .add("title", card.title)
                                   .add("subtitle", card.subtitle)
                                   .optional("bundleIdentifier", card.bundleIdentifier)
                                   .build());
  }
  return builder
      .list("attachments", message.attachments,
            [](const ChatAttachment& attachment) {
              return ObjectBuilder()
                  .add("kind", kAttachmentKindNames.name(attachment.kind))
                  .add("filename", attachment.filename)
                  .add("contentType", attachment.contentType)
                  .add("url", attachment.url)
                  .add("byteCount", attachment.byteCount)
                  .add("isTemporary", attachment.isTemporary)
                  .build();
            })
      .add("noteImageAttachmentCount", message.noteImageAttachmentCount)
      .list("imageAttachments", message.imageAttachments, encodeImage)
      .add("isTransient", message.isTransient)
      .add("createdAt", date(message.createdAt))
      .build();
}

// ---- Reading

using Value = core::JSONTape::Value;

// Where a value lies, for error texts: "session.messages[3].turnInput". Put
// together only when an error needs it, so reading costs no strings.
struct Path {
  const Path* parent = nullptr;
  std::string_view name;  // a member's, or the outermost value's
  std::optional<size_t> index;

  Path member(std::string_view memberName) const { return {this, memberName, std::nullopt}; }
  std::string text() const {
    std::string out = parent ? parent->text() + "." + std::string(name) : std::string(name);
    if (index) out += "[" + std::to_string(*index) + "]";
    return out;
  }
};

// One object being read; `where` names it in error texts.
class Reader {
 public:
  Reader(const Value& value, Path where) : object_(value), where_(where) {
    if (!object_.isObject()) fail("", "is not an object");
  }

  std::optional<Value> find(std::string_view key) const {
    std::optional<Value> value = object_.find(key, cursor_);
    if (value && value->isNull()) return std::nullopt;
    return value;
  }

  [[noreturn]] void fail(std::string_view key, std::string_view problem) const {
    throw ChatSessionDecodingError(where_.text() + (key.empty() ? "" : "." + std::string(key)) + " " +
                                   std::string(problem));
  }

  std::optional<std::string> optionalString(std::string_view key) const {
    const std::optional<Value> value = find(key);
    if (!value) return std::nullopt;
    std::optional<std::string> text = value->string();
    if (!text) fail(key, "is not a string");
    return text;
  }
  std::string string(std::string_view key) const {
    auto value = optionalString(key);
    if (!value) fail(key, "is missing");
    return std::move(*value);
  }
  std::string stringOrEmpty(std::string_view key) const { return optionalString(key).value_or(""); }

  std::optional<int64_t> optionalInteger(std::string_view key) const {
    const std::optional<Value> value = find(key);
    if (!value) return std::nullopt;
    auto number = value->integer();
    if (!number) fail(key, "is not an integer");
    return number;
  }
  bool boolean(std::string_view key) const {
    const std::optional<Value> value = find(key);
    if (!value) return false;
    auto flag = value->boolean();
    if (!flag) fail(key, "is not a boolean");
    return *flag;
  }
  core::TimePoint date(std::string_view key) const {
    auto parsed = core::parseIso8601(string(key));
    if (!parsed) fail(key, "is not an ISO 8601 date");
    return *parsed;
  }
  template <typename Enum, size_t N>
  Enum enumeration(std::string_view key, const core::EnumNames<Enum, N>& names) const {
    auto value = names.value(string(key));
    if (!value) fail(key, "has an unknown value");
    return *value;
  }

  // Each element of the list `key` (absent: none) read with `decode(element, where)`.
  template <typename Decode>
  auto list(std::string_view key, Decode decode) const {
    using T = decltype(decode(std::declval<const Value&>(), Path()));
    std::vector<T> items;
    const std::optional<Value> value = find(key);
    if (!value) return items;
    if (!value->isArray()) fail(key, "is not a list");
    const Value::Elements elements = value->elements();
    items.reserve(elements.size());
    size_t i = 0;
    for (const Value element : elements) items.push_back(decode(element, Path{&where_, key, i++}));
    return items;
  }
  std::vector<std::string> strings(std::string_view key) const {
    return list(key, [](const Value& item, const Path& where) {
      std::optional<std::string> text = item.string();
      if (!text) throw ChatSessionDecodingError(where.text() + " is not a string");
      return std::move(*text);
    });
  }

  const Path& where() const { return where_; }

 private:
  Value object_;
  mutable uint32_t cursor_ = 0;  // members are read about in their written order
  Path where_;
};

ChatStoredImage decodeImage(const Value& json, const Path& where) {
  Reader reader(json, where);
  return {reader.enumeration("mimeSubtype", kSubtypeNames), reader.string("relativePath"),
          reader.optionalInteger("byteCount").value_or(0)};
}

AINoteContext decodeNoteContext(const Value& json, const Path& where) {
  Reader reader(json, where);
  AINoteContext context;
  context.appName = reader.stringOrEmpty("appName");
  context.isAppleNotesActive = reader.boolean("isAppleNotesActive");
  context.selectedText = reader.stringOrEmpty("selectedText");
  context.currentLine = reader.stringOrEmpty("currentLine");
  context.noteText = reader.stringOrEmpty("noteText");
  context.noteID = reader.optionalString("noteID");
  context.noteTitle = reader.optionalString("noteTitle");
  context.sourceBundleID = reader.optionalString("sourceBundleID");
  context.capturedAt = reader.date("capturedAt");
  return context;
}

ChatTurnInput decodeTurnInput(const Value& json, const Path& where) {
  Reader reader(json, where);
  ChatTurnInput input;
  input.request = reader.stringOrEmpty("request");
  input.skills = reader.list("skills", [](const Value& item, const Path& at) {
    Reader skill(item, at);
    return ChatTurnInput::SelectedSkill{skill.stringOrEmpty("title"), skill.stringOrEmpty("instructions")};
  });
  input.references = reader.list("references", [](const Value& item, const Path& at) {
    Reader block(item, at);
    return ChatTurnInput::ReferenceBlock{block.enumeration("kind", kReferenceKindNames),
                                         block.optionalString("title"), block.optionalString("detail"),
                                         block.stringOrEmpty("content")};
  });
  input.defaultPreferences = reader.optionalString("defaultPreferences");
  input.customPreferences = reader.optionalString("customPreferences");
  return input;
}

ChatToolCall decodeToolCall(const Value& json, const Path& where) {
  Reader reader(json, where);
  ChatToolCall call;
  call.kind = reader.enumeration("kind", kToolKindNames);
  call.status = reader.enumeration("status", kToolStatusNames);
  call.query = reader.optionalString("query");
  call.failureReason = reader.optionalString("failureReason");
  call.urls = reader.strings("urls");
  call.sourceURLs = reader.strings("sourceURLs");
  call.noteSources = reader.list("noteSources", [](const Value& item, const Path& at) {
    Reader source(item, at);
    return ai::AINoteSource{source.stringOrEmpty("noteID"), source.stringOrEmpty("title")};
  });
  call.noteCount = reader.optionalInteger("noteCount");
  return call;
}

ChatMessage decodeMessage(const Value& json, const Path& where) {
  Reader reader(json, where);
  ChatMessage message;
  message.id = reader.string("id");
  const std::string role = reader.string("role");
  if (auto known = kRoleNames.value(role)) {
    message.role = *known;
  } else {
    message.role = ChatMessageRole::kLegacy;
    message.legacyRole = role;
  }
  message.text = reader.stringOrEmpty("text");
  message.reasoningSummary = reader.optionalString("reasoningSummary");
  message.webSearchSources = reader.list("webSearchSources", [](const Value& item, const Path& at) {
    Reader source(item, at);
    return ChatWebSource{source.string("url"), source.optionalString("title")};
  });
  message.toolCalls = reader.list("toolCalls", decodeToolCall);
  message.providerResponseItems = reader.list("providerResponseItems", [](const Value& item, const Path& at) {
    Reader stored(item, at);
    const auto provider = ai::aiProviderFromRawValue(stored.string("provider"));
    if (!provider) stored.fail("provider", "has an unknown value");
    const std::optional<Value> payload = item.find("payload");
    return ai::AIProviderResponseItem{*provider, payload ? payload->toJSONValue() : JSONValue(),
                                      stored.optionalString("responseID")};
  });
  if (const std::optional<Value> input = reader.find("turnInput"))
    message.turnInput = decodeTurnInput(*input, where.member("turnInput"));
  if (const std::optional<Value> card = reader.find("contextCard")) {
    Reader cardReader(*card, where.member("contextCard"));
    message.contextCard =
        ChatContextCard{cardReader.enumeration("kind", kCardKindNames), cardReader.stringOrEmpty("title"),
                        cardReader.stringOrEmpty("subtitle"), cardReader.optionalString("bundleIdentifier")};
  }
  message.attachments = reader.list("attachments", [](const Value& item, const Path& at) {
    Reader attachment(item, at);
    return ChatAttachment{attachment.enumeration("kind", kAttachmentKindNames),
                          attachment.stringOrEmpty("filename"),
                          attachment.stringOrEmpty("contentType"),
                          attachment.stringOrEmpty("url"),
                          attachment.optionalInteger("byteCount").value_or(0),
                          attachment.boolean("isTemporary")};
  });
  message.noteImageAttachmentCount = reader.optionalInteger("noteImageAttachmentCount").value_or(0);
  message.imageAttachments = reader.list("imageAttachments", decodeImage);
  message.isTransient = reader.boolean("isTransient");
  message.createdAt = reader.date("createdAt");
  return message;
}

ChatSession decodeSession(const Value& json) {
  Reader reader(json, Path{nullptr, "session", std::nullopt});
  ChatSession session;
  session.id = reader.string("id");
  const std::string name = "session " + session.id;
  const Path where{nullptr, name, std::nullopt};
  session.title = reader.stringOrEmpty("title");
  session.messages = reader.list("messages", decodeMessage);
  if (const std::optional<Value> context = reader.find("noteContext")) {
    session.noteContext = decodeNoteContext(*context, where.member("noteContext"));
  }
  if (const std::optional<Value> snapshot = reader.find("noteContextSnapshot")) {
    Reader snapshotReader(*snapshot, where.member("noteContextSnapshot"));
    const std::optional<Value> context = snapshotReader.find("context");
    if (!context) snapshotReader.fail("context", "is missing");
    session.noteContextSnapshot =
        AINoteContextSnapshot{decodeNoteContext(*context, snapshotReader.where().member("context")),
                              snapshotReader.list("images", decodeImage)};
  }
  if (auto provider = reader.optionalString("provider")) {
    session.provider = ai::aiProviderFromRawValue(*provider);
    if (!session.provider) reader.fail("provider", "has an unknown value");
  }
  session.model = reader.optionalString("model");
  // An effort this version does not know reads as no choice, as the settings do.
  if (auto effort = reader.optionalString("reasoningEffort"))
    session.reasoningEffort = ai::reasoningEffortFromRawValue(*effort);
  session.generatedTitle = reader.optionalString("generatedTitle");
  session.createdAt = reader.date("createdAt");
  session.codexThreadID = reader.optionalString("codexThreadID");
  session.noteImages = reader.list("noteImages", decodeImage);
  return session;
}

}  // namespace

ChatTurnInput decodeChatTurnInput(const JSONValue& json) {
  const std::string text = json.serialized();  // the tape points into it
  core::JSONTape tape;
  tape.parse(text);
  return decodeTurnInput(tape.root(), Path{nullptr, "turnInput", std::nullopt});
}

std::string_view rawValue(ChatMessageRole role) { return kRoleNames.name(role); }
std::optional<ChatMessageRole> chatMessageRoleFromRawValue(std::string_view text) {
  return kRoleNames.value(text);
}
std::string_view rawValue(ChatImageSubtype subtype) { return kSubtypeNames.name(subtype); }

JSONValue encodeChatSession(const ChatSession& session) {
  ObjectBuilder builder;
  builder.add("id", session.id).add("title", session.title).list("messages", session.messages, encodeMessage);
  if (session.noteContext) builder.add("noteContext", encodeNoteContext(*session.noteContext));
  if (session.noteContextSnapshot) {
    builder.add("noteContextSnapshot",
                ObjectBuilder()
                    .add("context", encodeNoteContext(session.noteContextSnapshot->context))
                    .list("images", session.noteContextSnapshot->images, encodeImage)
                    .build());
  }
  if (session.provider) builder.add("provider", ai::rawValue(*session.provider));
  builder.optional("model", session.model);
  if (session.reasoningEffort) builder.add("reasoningEffort", ai::rawValue(*session.reasoningEffort));
  return builder.optional("generatedTitle", session.generatedTitle)
      .add("createdAt", date(session.createdAt))
      .optional("codexThreadID", session.codexThreadID)
      .list("noteImages", session.noteImages, encodeImage)
      .build();
}

ChatSession decodeChatSession(const JSONValue& json) {
  const std::string text = json.serialized();  // the tape points into it
  core::JSONTape tape;
  tape.parse(text);
  return decodeSession(tape.root());
}

std::string encodeChatSessions(const std::vector<ChatSession>& sessions) {
  JSONValue::Array array;
  array.reserve(sessions.size());
  for (const ChatSession& session : sessions) array.push_back(encodeChatSession(session));
  return JSONValue(std::move(array)).serialized();
}

void forEachChatSession(std::string_view text,
                        const std::function<void(ChatSession, std::string_view)>& visit) {
  const auto skipSpace = [&](size_t at) {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\n' || text[at] == '\r' || text[at] == '\t'))
      ++at;
    return at;
  };
  // One tape serves every session: it is the parse's only allocation.
  core::JSONTape tape;
  size_t at = skipSpace(0);
  if (at >= text.size() || text[at] != '[') {
    tape.parse(text);  // throws when the text is no JSON at all
    throw ChatSessionDecodingError("the file does not hold a list of sessions");
  }
  at = skipSpace(at + 1);
  if (at < text.size() && text[at] == ']') {
    ++at;
  } else {
    for (;;) {
      const size_t begin = skipSpace(at);
      at = tape.parsePrefix(text, begin);
      visit(decodeSession(tape.root()), text.substr(begin, at - begin));
      at = skipSpace(at);
      if (at < text.size() && text[at] == ',') {
        ++at;
      } else if (at < text.size() && text[at] == ']') {
        ++at;
        break;
      } else {
        throw core::JSONValueError(core::JSONValueError::Code::kMalformedJSON,
                                   "expected ',' or ']' at offset " + std::to_string(at));
      }
    }
  }
  if (skipSpace(at) != text.size()) {
    throw core::JSONValueError(core::JSONValueError::Code::kMalformedJSON,
                               "unexpected text after the list at offset " + std::to_string(at));
  }
}

std::vector<ChatSession> decodeChatSessions(std::string_view text) {
  std::vector<ChatSession> sessions;
  forEachChatSession(text,
                     [&](ChatSession session, std::string_view) { sessions.push_back(std::move(session)); });
  return sessions;
}

}  // namespace zephyl::assistant
