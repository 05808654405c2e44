// What the commands that talk to AI services share: the service factory wired
// to the Linux transport and clocks, the model a command uses, attachments read
// from files, and streaming that Ctrl-C stops cleanly.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "ai/ai_service_factory.h"
#include "ai/oauth_account_access_source.h"
#include "ai/oauth_credential_coordinator.h"
#include "ai/oauth_token_client.h"
#include "cli/agent_service_support.h"
#include "cli/cli_context.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/linux/system_clock.h"
#include "platform/linux/system_random_source.h"

namespace zephyl::cli {

// The factory and what it sends through; usage goes to the context's store.
// The gemini provider's models (and custom agents' "acp:" ids) go to an agent
// server, one per agent for the life of these services, so that the turns of
// one `zephyl chat` share one agent process.
class CliAIServices {
 public:
  // `baseURL` (empty: none) replaces every provider's base URL for this run.
  CliAIServices(CliContext& context, const std::string& baseURL);
  ~CliAIServices();
  ai::AIServiceFactory& factory() { return *factory_; }

 private:
  // The server of the agent `modelID` names, made on first use. Throws
  // CliUsageError for an unknown custom agent.
  agents::AntigravityACPServer& agentServer(CliContext& context, std::string_view modelID);

  std::mutex agentsMutex_;                                         // guards agents_
  std::map<std::string, std::unique_ptr<CliAgentServer>> agents_;  // by custom agent name; "" Antigravity

  platform::CurlHTTPTransport transport_;
  ai::SteadyMonotonicClock clock_;
  platform::SystemRandomSource random_;
  platform::SystemClock wallClock_;
  ai::OAuthTokenClient tokenClient_{transport_};
  std::unique_ptr<ai::OAuthCredentialCoordinator> chatGPTCoordinator_;
  std::unique_ptr<ai::OAuthAccountAccessSource> chatGPTAccount_;
  std::unique_ptr<ai::OAuthCredentialCoordinator> xaiCoordinator_;
  std::unique_ptr<ai::OAuthAccountAccessSource> xaiAccount_;
  std::unique_ptr<ai::AIServiceFactory> factory_;
};

// `model` when given, else the assistant's selected model, else the default.
std::string chosenModel(CliContext& context, const std::string& model);

// The file as an attachment with a media type from its extension. Throws
// CliUsageError when it cannot be read.
ai::AIAttachment readAttachment(const std::string& path);

// Runs `request` on `provider`, handing each event to `onEvent` on this
// thread. Returns false when Ctrl-C stopped the stream (the events before it
// were handed on); rethrows the stream's failure.
bool streamUntilInterrupted(ai::AIStreamProvider& provider, ai::AIStreamRequest request,
                            const std::function<void(const ai::AIStreamEvent&)>& onEvent);

}  // namespace zephyl::cli
