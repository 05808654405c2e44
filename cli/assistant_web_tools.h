// The web tools Zephyl runs itself for an assistant turn in web mode: web
// fetch always (no adapter fetches pages itself), and web search where the
// provider has no search of its own and the user configured a search service.
#pragma once

#include "ai/ai_provider.h"
#include "ai/ai_stream_request.h"
#include "cli/cli_context.h"

namespace zephyl::cli {

// Adds the tools to `request` when its web search mode is on; says on standard
// error when web search is unavailable for `provider`.
void addAssistantWebTools(CliContext& context, ai::AIProvider provider, ai::AIStreamRequest& request);

}  // namespace zephyl::cli
