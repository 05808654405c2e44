// `zephyl debug compose-turn`: the texts of one assistant turn from a JSON
// description, so the composition can be checked from outside byte for byte.
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "assistant/assistant_prompt_composer.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "core/json_value.h"

namespace zephyl::cli {
namespace {

using assistant::AIConversationRole;
using assistant::AIModelInput;
using assistant::ChatTurnInput;
using core::JSONValue;

// The member as a string; absent or null members are empty.
std::string text(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  if (value == nullptr || value->isNull()) return {};
  if (value->string() == nullptr) throw CliUsageError("\"" + std::string(key) + "\" must be a string");
  return *value->string();
}

std::optional<std::string> optionalText(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  if (value == nullptr || value->isNull()) return std::nullopt;
  return text(object, key);
}

int64_t count(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  if (value == nullptr || value->isNull()) return 0;
  const auto number = value->integer();
  if (!number || *number < 0) throw CliUsageError("\"" + std::string(key) + "\" must be a count");
  return *number;
}

const JSONValue::Array& list(const JSONValue& object, std::string_view key) {
  static const JSONValue::Array kEmpty;
  const JSONValue* value = object.find(key);
  if (value == nullptr || value->isNull()) return kEmpty;
  if (value->array() == nullptr) throw CliUsageError("\"" + std::string(key) + "\" must be a list");
  return *value->array();
}

std::vector<assistant::SelectedSkill> skills(const JSONValue& object) {
  std::vector<assistant::SelectedSkill> result;
  for (const auto& skill : list(object, "skills")) result.push_back({text(skill, "title"), text(skill, "instructions")});
  return result;
}

std::vector<ChatTurnInput::ReferenceBlock> references(const JSONValue& object) {
  std::vector<ChatTurnInput::ReferenceBlock> result;
  for (const auto& reference : list(object, "references")) {
    const std::string kindName = text(reference, "kind");
    const auto kind = assistant::referenceKindFromRawValue(kindName);
    if (!kind) throw CliUsageError("unknown reference kind \"" + kindName + "\"");
    result.push_back({*kind, optionalText(reference, "title"), optionalText(reference, "detail"),
                      text(reference, "content")});
  }
  return result;
}

AIConversationRole role(const std::string& name) {
  if (name == "context") return AIConversationRole::kContext;
  if (name == "user") return AIConversationRole::kUser;
  if (name == "assistant") return AIConversationRole::kAssistant;
  throw CliUsageError("unknown role \"" + name + "\"");
}

std::chrono::year_month_day date(const std::string& value) {
  if (value.empty()) {
    return std::chrono::year_month_day{std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now())};
  }
  const auto time = core::parseIso8601(value + "T12:00:00Z");
  if (!time) throw CliUsageError("\"date\" must be yyyy-MM-dd");
  return std::chrono::year_month_day{std::chrono::floor<std::chrono::days>(*time)};
}

void compose(const JSONValue& description, std::ostream& out) {
  if (description.object() == nullptr) throw CliUsageError("the turn description must be a JSON object");
  AIModelInput input;
  input.appInstructions = assistant::composeSystemText(date(text(description, "date")), text(description, "locale"));
  const JSONValue* defaults = description.find("defaultPreferences");
  if (defaults != nullptr && defaults->isNull()) {
    input.defaultPreferences = std::string(assistant::kDefaultPreferences);
  } else {
    input.defaultPreferences = text(description, "defaultPreferences");
  }
  input.customPreferences = text(description, "customPreferences");
  input.skills = skills(description);
  for (const auto& message : list(description, "history")) {
    assistant::AIConversationMessage earlier{role(text(message, "role")), text(message, "content"), std::nullopt};
    if (const JSONValue* turn = message.find("turnInput"); turn != nullptr && !turn->isNull()) {
      earlier.turnInput = ChatTurnInput{text(*turn, "request"), skills(*turn), references(*turn),
                                        optionalText(*turn, "defaultPreferences"),
                                        optionalText(*turn, "customPreferences")};
    }
    input.earlierMessages.push_back(std::move(earlier));
  }
  input.references = references(description);
  input.request = text(description, "request");

  std::optional<std::string> environment;
  if (const JSONValue* note = description.find("noteContext"); note != nullptr && !note->isNull()) {
    assistant::AINoteContext context;
    context.appName = text(*note, "appName");
    const JSONValue* active = note->find("isAppleNotesActive");
    context.isAppleNotesActive = active != nullptr && active->boolean().value_or(false);
    context.selectedText = text(*note, "selectedText");
    context.currentLine = text(*note, "currentLine");
    context.noteText = text(*note, "noteText");
    context.noteID = optionalText(*note, "noteID");
    context.noteTitle = optionalText(*note, "noteTitle");
    environment = assistant::composeEnvironmentBlock(context);
  }
  const auto paragraph = assistant::composeAttachmentParagraph(static_cast<int>(count(description, "noteImages")),
                                                               static_cast<int>(count(description, "uploads")));

  JsonWriter json(out);
  json.beginObject();
  json.key("systemText").value(input.appInstructions);
  json.key("userText").value(assistant::composeUserText(input));
  json.key("environmentBlock").value(environment);
  json.key("attachmentParagraph").value(paragraph);
  json.endObject();
  json.finish();
}

}  // namespace

void addDebugComposeTurnCommand(CLI::App& debug, CliContext& context) {
  auto* command = debug.add_subcommand(
      "compose-turn", "Compose the texts of one assistant turn from a JSON description (file or standard input)");
  auto file = std::make_shared<std::string>();
  command->add_option("FILE", *file, "The turn description; - or nothing reads standard input");
  command->callback([&context, file] {
    std::string input;
    if (file->empty() || *file == "-") {
      if (context.streams().in != nullptr) input.assign(std::istreambuf_iterator<char>(*context.streams().in), {});
    } else {
      std::ifstream stream(*file, std::ios::binary);
      if (!stream) throw CliFailure("Could not read " + *file);
      input.assign(std::istreambuf_iterator<char>(stream), {});
    }
    JSONValue description;
    try {
      description = JSONValue::parse(input);
    } catch (const core::JSONValueError& error) {
      throw CliUsageError("the turn description is not valid JSON: " + error.description());
    }
    compose(description, context.streams().out);
  });
}

}  // namespace zephyl::cli
