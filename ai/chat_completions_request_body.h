// The body of a streamed Chat Completions request, its keys in the order the
// services document them ("model", "messages", "stream", "stream_options",
// the reasoning setting in the service's own form, "tools", "tool_choice",
// "parallel_tool_calls"). Encoded bytes are what tests compare.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_service_error.h"
#include "ai/ai_stream_request.h"
#include "core/json_value.h"

namespace zephyl::ai {

// How a service takes the reasoning effort.
enum class ChatCompletionsReasoningForm {
  kReasoningEffort,  // "reasoning_effort": raw value
  kReasoningObject,  // "reasoning": {"effort": raw value} (OpenRouter)
  kThinking,         // "thinking": {"type": "enabled" | "disabled"} (Z.ai)
};

// What one service of the family accepts.
struct ChatCompletionsDialect {
  ChatCompletionsReasoningForm reasoningForm = ChatCompletionsReasoningForm::kReasoningEffort;
  bool takesTools = true;
  bool takesImages = true;  // for the model being asked
};

// The encoded body. "messages" holds the instructions as a "system" message,
// the history (text parts joined by a blank line; empty messages left out), and
// the current input, with images as "image_url" data URLs and text files as
// text parts. `functionTools` are Responses-shaped function tools ("name",
// "description", "parameters"), sent in the Chat Completions wrapping when the
// dialect takes tools. A failure is returned instead of a body: kEmptyPrompt
// without any input, kImagesNotSupported for an image the model cannot read,
// kUnsupportedAttachment (detail: the file name) for a file that is neither.
// `continuation` (earlier rounds' tool calls and "tool" messages) follows the
// current input.
AIEncodedRequestBody encodeChatCompletionsRequestBody(const AIStreamRequest& request,
                                                      std::string_view modelName,
                                                      const ChatCompletionsDialect& dialect,
                                                      const std::vector<core::JSONValue>& functionTools,
                                                      const core::JSONValue::Array& continuation = {});

// The text of a history message as services take it: the parts joined by a
// blank line; empty after trimming means the message is left out.
std::string historyMessageText(const AIHistoryMessage& message);

}  // namespace zephyl::ai
