#include "ai/ai_function_tool_loop.h"

#include "core/logger.h"
#include "core/utf8.h"

namespace zephyl::ai {
namespace {

const core::Logger kLog("AIFunctionToolLoop");

std::string failedOutput(std::string_view reason) { return "The tool call failed: " + std::string(reason); }

}  // namespace

std::string boundedToolOutput(std::string output, size_t maximumBytes) {
  if (output.size() <= maximumBytes) return output;
  const size_t total = output.size();
  size_t cut = maximumBytes;
  // Back off to the start of the character the bound falls in.
  while (cut > 0 && (static_cast<unsigned char>(output[cut]) & 0xC0) == 0x80) --cut;
  output.resize(cut);
  output += "\n[Tool result cut by Zephyl: " + std::to_string(cut) + " of " + std::to_string(total) +
            " bytes shown.]";
  return output;
}

std::vector<std::shared_ptr<AIFunctionTool>> offeredFunctionTools(const AIStreamRequest& request,
                                                                  bool takesNotesQuery) {
  // A search demanded on every turn leaves no room for a notes query.
  const bool notesAllowed =
      takesNotesQuery && request.allowsLocalNotesQuery && request.webSearchMode != AIWebToolMode::kAlways;
  std::vector<std::shared_ptr<AIFunctionTool>> tools;
  for (const auto& tool : request.functionTools) {
    if (tool == nullptr || (isNotesQueryKind(tool->kind()) && !notesAllowed)) continue;
    tools.push_back(tool);
  }
  return tools;
}

std::vector<core::JSONValue> functionToolDefinitions(const AIStreamRequest& request, bool takesNotesQuery) {
  std::vector<core::JSONValue> definitions;
  for (const auto& tool : offeredFunctionTools(request, takesNotesQuery))
    definitions.push_back(tool->definition());
  return definitions;
}

AIFunctionToolLoop::AIFunctionToolLoop(const AIStreamRequest& request, bool takesNotesQuery,
                                       std::stop_token stop, const Emit& emit)
    : tools_(offeredFunctionTools(request, takesNotesQuery)), stop_(std::move(stop)), emit_(emit) {}

bool AIFunctionToolLoop::runs(std::string_view name) const {
  for (const auto& tool : tools_) {
    if (tool->name() == name) return true;
  }
  return false;
}

std::vector<AIFunctionCallOutput> AIFunctionToolLoop::answer(const std::vector<AIFunctionCall>& calls) {
  // With no tools offered, a call is the service's own business (or a slip) and ends the answer.
  if (calls.empty() || tools_.empty()) return {};
  if (++rounds_ > kMaximumRounds) {
    kLog.warning() << "A model called tools for more than " << kMaximumRounds << " rounds";
    throw AIFunctionToolError(AIFunctionToolError::Code::kTooManyRounds);
  }
  std::vector<AIFunctionCallOutput> outputs;
  bool queriedNotes = false;
  for (const AIFunctionCall& call : calls) {
    if (stop_.stop_requested()) throw core::CancellationError();
    AIFunctionCallOutput output{call.callID, call.name, {}};
    AIFunctionTool* tool = nullptr;
    for (const auto& candidate : tools_) {
      if (candidate->name() == call.name) tool = candidate.get();
    }
    if (tool == nullptr) {
      output.output = failedOutput("there is no tool named \"" + call.name + "\".");
      outputs.push_back(std::move(output));
      continue;
    }
    if (isNotesQueryKind(tool->kind()) && queriedNotes) {
      output.output = failedOutput(
          "only one notes query runs per response. Read the first result, then "
          "query again in your next response if you still need to.");
      outputs.push_back(std::move(output));
      continue;
    }
    queriedNotes |= isNotesQueryKind(tool->kind());
    core::JSONValue arguments = core::JSONValue::Object{};
    bool readable = true;
    try {
      if (!core::trimWhiteSpace(call.arguments).empty()) arguments = core::JSONValue::parse(call.arguments);
      readable = arguments.object() != nullptr;
    } catch (const core::JSONValueError&) {
      readable = false;
    }
    AIToolCallUpdate update = tool->started(readable ? arguments : core::JSONValue::Object{});
    update.id = call.callID;
    update.status = AIToolCallStatus::kRunning;
    emit_(AIStreamEvent::ToolCallUpdated{update});
    AIFunctionToolOutcome outcome;
    if (readable) {
      outcome = tool->run(arguments, stop_, update);
    } else {
      outcome = {failedOutput("the arguments were not a JSON object."),
                 "The model sent unreadable arguments."};
    }
    update.status = outcome.failureReason ? AIToolCallStatus::kFailed : AIToolCallStatus::kCompleted;
    update.failureReason = outcome.failureReason;
    emit_(AIStreamEvent::ToolCallUpdated{std::move(update)});
    output.output = boundedToolOutput(std::move(outcome.output), kMaximumOutputBytes);
    outputs.push_back(std::move(output));
  }
  return outputs;
}

void AIFunctionToolLoop::run(const std::function<std::vector<AIFunctionCall>()>& send,
                             const std::function<void(const std::vector<AIFunctionCallOutput>&)>& giveBack) {
  for (;;) {
    const std::vector<AIFunctionCall> calls = send();
    if (calls.empty()) return;
    giveBack(answer(calls));
  }
}

}  // namespace zephyl::ai
