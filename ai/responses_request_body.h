// The body of a Responses request: the history and the current input turned
// into input items, and the JSON object with its keys in the protocol's order
// ("model", "store", "stream", "instructions", "input", "text", "include",
// "tools", "tool_choice", "parallel_tool_calls", "reasoning",
// "prompt_cache_key"). Encoded bytes are what tests compare.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ai/ai_stream_request.h"
#include "ai/responses_service_member.h"
#include "core/json_value.h"

namespace zephyl::ai {

// The largest attachment sent inline; base64 makes it a third larger on the wire.
inline constexpr size_t kMaximumResponsesAttachmentBytes = 20 * 1024 * 1024;

// The image tool that xAI's adapter answers itself.
inline constexpr std::string_view kImageFunctionToolName = "generate_image";

// The input items: history messages ("input_text" for the user, "output_text"
// for the assistant) with the stored items of `member`'s provider replayed
// before the message that produced them, then the current input with its
// attachments (images as "input_image", other files as "input_file", both as
// data URLs). Fails through `member.fail` with kEmptyPrompt when there is no
// text and no attachment, kAttachmentTooLarge for an attachment over the limit.
core::JSONValue::Array responsesInputItems(const AIStreamRequest& request,
                                           const ResponsesServiceMember& member);

// The encoded body for `input` (the items above, plus any function call
// outputs of earlier rounds).
std::string encodeResponsesRequestBody(const AIStreamRequest& request, const ResponsesServiceMember& member,
                                       const core::JSONValue::Array& input);

}  // namespace zephyl::ai
