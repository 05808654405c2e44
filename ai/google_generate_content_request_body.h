// The body of a Google streamGenerateContent request: "systemInstruction",
// "contents" with the roles "user" and "model", "tools" as function
// declarations, and "generationConfig.thinkingConfig" for models that take a
// thinking setting. A model turn that left a provider item (parts with thought
// signatures or function calls) is sent back as those parts, since the service
// checks the signatures; other turns go as their text.
#pragma once

#include <string_view>
#include <vector>

#include "ai/ai_service_error.h"
#include "ai/ai_stream_request.h"
#include "core/json_value.h"

namespace zephyl::ai {

// `takesThinking`: the model accepts "thinkingConfig" (the catalogue gives it
// a default effort). `functionTools` are Responses-shaped function tools
// ("name", "description", "parameters"). Fails with kEmptyPrompt without any
// input and kUnsupportedAttachment (detail: the file name) for a file that is
// neither an image nor text.
// `continuation` (earlier rounds' model turns with function calls and the
// user turns with their "functionResponse" parts) follows the current input.
AIEncodedRequestBody encodeGoogleGenerateContentRequestBody(const AIStreamRequest& request,
                                                            std::string_view modelName, bool takesThinking,
                                                            const std::vector<core::JSONValue>& functionTools,
                                                            const core::JSONValue::Array& continuation = {});

}  // namespace zephyl::ai
