// The ACP side of one assistant turn, as pure functions of its messages: the
// prompt blocks sent in "session/prompt", the agent's "session/update"s turned
// into AIStreamEvents, the answer to "session/request_permission", and the
// models a "session/new" result offers. AntigravityACPServer does the talking.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_stream_event.h"
#include "ai/ai_stream_request.h"
#include "core/json_value.h"

namespace zephyl::agents {

inline constexpr size_t kAntigravityACPMaximumAttachmentBytes = 20 * 1'048'576;
inline constexpr size_t kAntigravityACPMaximumTotalAttachmentBytes = 40 * 1'048'576;

// The instruction added to the prompt text for a web search mode (provider
// native: always search; automatic; off).
std::string_view antigravityACPWebSearchInstruction(ai::AIWebToolMode mode);

// The model to select on the agent for a request's model id: an Antigravity
// profile's agent-side id for `effort` (the profile's default effort when none
// is given or the profile has no id for it); nothing for a custom agent's
// "acp:" id, which leaves the agent on its own model; any other id as given.
std::string antigravityACPModelID(std::string_view modelID, std::optional<ai::ReasoningEffort> effort);

// The text sent for a request: the assistant's instructions (system text)
// first, as an ACP prompt has no place of its own for them, then the input.
// Blank input stays blank, so that it is refused as an empty prompt.
std::string antigravityACPPromptText(const ai::AIStreamRequest& request);

// The "prompt" of "session/prompt": the text with the web search instruction,
// then one block per attachment (images by extension png, jpg/jpeg, gif, webp;
// other files as resources, text when they are UTF-8 text). Throws
// AntigravityACPServiceError: kEmptyPrompt for blank text, kAttachmentTooLarge
// past 20 MiB, kTotalAttachmentsTooLarge past 40 MiB together.
core::JSONValue antigravityACPPromptBlocks(std::string_view text, ai::AIWebToolMode mode,
                                           const std::vector<ai::AIAttachment>& attachments);

// The answer to "session/request_permission": when `permitsWebSearch` and the
// request names a "toolCall", its first "allow_once" option; otherwise, or
// without one, the first "reject_once", else the first "reject_always"; with
// none of these, "cancelled".
core::JSONValue antigravityACPPermissionAnswer(const core::JSONValue& params, bool permitsWebSearch);

// The models a "session/new" result offers and the one in use: from
// "configOptions" (the option "model") or the older "models".
struct AntigravityACPSessionModels {
  enum class Selector { kNone, kConfigOption, kSetModel };
  Selector selector = Selector::kNone;
  std::string current;
  std::vector<std::string> available;
};
AntigravityACPSessionModels antigravityACPSessionModels(const core::JSONValue& sessionResult);

// The updates of one turn: collects the answer and each tool call's state, so
// that a "tool_call_update", which names only what changed, still yields the
// whole call.
class AntigravityACPTurnUpdates {
 public:
  // The event for one "update" object, or nullopt for kinds a turn does not
  // show (plans, command lists, usage) and for malformed ones.
  std::optional<ai::AIStreamEvent> apply(const core::JSONValue& update);

  // The concatenation of the message chunks so far.
  const std::string& answer() const { return answer_; }

 private:
  std::string answer_;
  std::map<std::string, ai::AIToolCallUpdate> toolCalls_;
};

}  // namespace zephyl::agents
