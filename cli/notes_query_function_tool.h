// The notes query tool as the assistant's commands offer it to the model: the
// library is opened for Quick Open on the first call, each note read in full
// as `zephyl show` renders it.
#pragma once

#include <memory>

#include "ai/ai_function_tool.h"
#include "cli/cli_context.h"
#include "navigation/notes_query_tool.h"

namespace zephyl::cli {

class NotesQueryFunctionTool : public ai::AIFunctionTool {
 public:
  // `context` must outlive the tool.
  explicit NotesQueryFunctionTool(CliContext& context) : context_(context) {}

  std::string name() const override { return std::string(navigation::NotesQueryTool::kName); }
  core::JSONValue definition() const override { return navigation::NotesQueryTool::definition(); }
  ai::AIToolKind kind() const override { return ai::AIToolKind::kNoteSearch; }
  ai::AIToolCallUpdate started(const core::JSONValue& arguments) const override;
  ai::AIFunctionToolOutcome run(const core::JSONValue& arguments, std::stop_token stop,
                                ai::AIToolCallUpdate& update) override;

 private:
  CliContext& context_;
  std::unique_ptr<navigation::NotesQuickOpenService> service_;
};

}  // namespace zephyl::cli
