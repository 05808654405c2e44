// `zephyl debug compose-turn`: the texts of one assistant turn from a JSON
// description, so the composition can be checked from outside byte for byte.
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "assistant/assistant_prompt_composer.h"
#include "assistant/chat_session_json.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "core/json_value.h"

namespace zephyl::cli {
namespace {

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

int64_t count(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  if (value == nullptr || value->isNull()) return 0;
  const auto number = value->integer();
  if (!number || *number < 0) throw CliUsageError("\"" + std::string(key) + "\" must be a count");
  return *number;
}

// The request, skills, references and preferences of `object` in the stored
// turn input's shape. Here an absent "defaultPreferences" is empty and only
// null asks for the built-in text.
ChatTurnInput turnParts(const JSONValue& object) {
  ChatTurnInput turn = assistant::decodeChatTurnInput(object);
  const JSONValue* defaults = object.find("defaultPreferences");
  if (defaults == nullptr) turn.defaultPreferences = "";
  return turn;
}

std::chrono::year_month_day date(const std::string& value) {
  if (value.empty()) {
    return std::chrono::year_month_day{
        std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now())};
  }
  const auto time = core::parseIso8601(value + "T12:00:00Z");
  if (!time) throw CliUsageError("\"date\" must be yyyy-MM-dd");
  return std::chrono::year_month_day{std::chrono::floor<std::chrono::days>(*time)};
}

void compose(const JSONValue& description, std::ostream& out) {
  if (description.object() == nullptr) throw CliUsageError("the turn description must be a JSON object");
  const ChatTurnInput turn = turnParts(description);
  AIModelInput input;
  input.appInstructions =
      assistant::composeSystemText(date(text(description, "date")), text(description, "locale"));
  input.defaultPreferences = turn.defaultPreferences.value_or(std::string(assistant::kDefaultPreferences));
  input.customPreferences = turn.customPreferences;
  input.skills = turn.skills;
  input.references = turn.references;
  input.request = turn.request;
  if (const JSONValue* history = description.find("history"); history != nullptr && !history->isNull()) {
    if (history->array() == nullptr) throw CliUsageError("\"history\" must be a list");
    for (const auto& entry : *history->array()) {
      assistant::ChatMessage message;
      const std::string roleName = text(entry, "role");
      const auto role = assistant::chatMessageRoleFromRawValue(roleName);
      if (!role) throw CliUsageError("unknown role \"" + roleName + "\"");
      message.role = *role;
      message.text = text(entry, "content");
      if (const JSONValue* stored = entry.find("turnInput"); stored != nullptr && !stored->isNull()) {
        message.turnInput = turnParts(*stored);
      }
      input.earlierMessages.push_back(std::move(message));
    }
  }

  std::optional<std::string> environment;
  if (const JSONValue* note = description.find("noteContext"); note != nullptr && !note->isNull()) {
    assistant::AINoteContext context;
    context.appName = text(*note, "appName");
    const JSONValue* active = note->find("isAppleNotesActive");
    context.isAppleNotesActive = active != nullptr && active->boolean().value_or(false);
    context.selectedText = text(*note, "selectedText");
    context.currentLine = text(*note, "currentLine");
    context.noteText = text(*note, "noteText");
    context.noteTitle = text(*note, "noteTitle");
    environment = assistant::composeEnvironmentBlock(context);
  }
  const auto paragraph = assistant::composeAttachmentParagraph(
      static_cast<int>(count(description, "noteImages")), static_cast<int>(count(description, "uploads")));

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
      "compose-turn",
      "Compose the texts of one assistant turn from a JSON description (file or standard input)");
  auto file = std::make_shared<std::string>();
  command->add_option("FILE", *file, "The turn description; - or nothing reads standard input");
  command->callback([&context, file] {
    std::string input;
    if (file->empty() || *file == "-") {
      if (context.streams().in != nullptr)
        input.assign(std::istreambuf_iterator<char>(*context.streams().in), {});
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
