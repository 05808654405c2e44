// A notes query function tool, "query_notes", that answers every call with
// `output` and names the note it found; it keeps the arguments of each run.
// Test use only.
#pragma once

#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "ai/ai_function_tool.h"

namespace zephyl::platform::testing {

class FakeNotesTool : public ai::AIFunctionTool {
 public:
  explicit FakeNotesTool(std::string output = {}) : output_(std::move(output)) {}
  std::string name() const override { return "query_notes"; }
  core::JSONValue definition() const override {
    return core::JSONValue::parse(
        R"({"type":"function","name":"query_notes","parameters":{"type":"object"}})");
  }
  ai::AIToolKind kind() const override { return ai::AIToolKind::kNoteSearch; }
  ai::AIToolCallUpdate started(const core::JSONValue& arguments) const override {
    ai::AIToolCallUpdate update;
    update.kind = ai::AIToolKind::kNoteSearch;
    if (const core::JSONValue* text = arguments.find("text"); text != nullptr && text->string() != nullptr)
      update.query = *text->string();
    return update;
  }
  ai::AIFunctionToolOutcome run(const core::JSONValue& arguments, std::stop_token,
                                ai::AIToolCallUpdate& update) override {
    ++runs;
    seen.push_back(arguments.serialized());
    update.noteSources = {{"x-coredata://S/ICNote/p7", "Bakery"}};
    return {output_, std::nullopt};
  }

  int runs = 0;
  std::vector<std::string> seen;  // each run's arguments, serialised

 private:
  std::string output_;
};

}  // namespace zephyl::platform::testing
