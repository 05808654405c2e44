// ChatTitleGenerationService: names a conversation with a short title written
// by a lightweight model (the setting `autoChatTitleModel`). The transcript
// goes to the model as untrusted reference data under fixed instructions; the
// reply is stripped of wrapping quotes and brackets before it is kept.
#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_provider.h"
#include "ai/ai_stream_provider.h"
#include "ai/reasoning_effort.h"
#include "assistant/chat_message.h"

namespace zephyl::assistant {

// The model input for a title of `messages`: task instructions, the transcript
// (user and assistant messages, labelled "User" and "Assistant") as one
// reference, and the request.
std::string composeChatTitleInput(const std::vector<ChatMessage>& messages);

// `reply` without white space and the characters "'`“”‘’[](){} at both ends.
std::string trimChatTitle(std::string_view reply);

class ChatTitleGenerationService {
 public:
  // `wouldColdStart(provider)` says whether a request now would have to start
  // the provider first (an agent not yet running); titles never pay for that.
  // `provider` must outlive the service.
  ChatTitleGenerationService(ai::AIStreamProvider& provider,
                             std::function<bool(ai::AIProvider)> wouldColdStart);

  // The title for `messages` from `model` of `modelProvider`, or nullopt when
  // skipped, failed (logged) or empty. Throws core::CancellationError when
  // `stop` is requested. Runs on the calling thread.
  std::optional<std::string> generateTitle(const std::vector<ChatMessage>& messages,
                                           ai::AIProvider modelProvider, const std::string& model,
                                           std::optional<ai::ReasoningEffort> effort,
                                           std::stop_token stop = {});

 private:
  ai::AIStreamProvider& provider_;
  std::function<bool(ai::AIProvider)> wouldColdStart_;
};

}  // namespace zephyl::assistant
