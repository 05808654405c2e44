#include "cli/ai_command_support.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "ai/ai_settings_keys.h"
#include "ai/oauth_account_settings.h"
#include "cli/terminal.h"
#include "core/ascii_lowercase.h"

namespace zephyl::cli {
namespace {

std::string mediaTypeForFile(const std::string& path) {
  const size_t dot = path.rfind('.');
  const std::string extension = core::asciiLowercase(dot == std::string::npos ? "" : path.substr(dot + 1));
  static const std::pair<const char*, const char*> kTypes[] = {
      {"png", "image/png"},   {"jpg", "image/jpeg"},       {"jpeg", "image/jpeg"}, {"gif", "image/gif"},
      {"webp", "image/webp"}, {"pdf", "application/pdf"},  {"txt", "text/plain"},  {"md", "text/markdown"},
      {"csv", "text/csv"},    {"json", "application/json"}};
  for (const auto& [known, type] : kTypes) {
    if (extension == known) return type;
  }
  return "application/octet-stream";
}

// The factory's stack owns its adapter; the agent server outlives it.
class ForwardingProvider : public ai::AIStreamProvider {
 public:
  explicit ForwardingProvider(ai::AIStreamProvider& target) : target_(target) {}
  void produce(const ai::AIStreamRequest& request, std::stop_token stop, const Emit& emit) override {
    target_.produce(request, std::move(stop), emit);
  }

 private:
  ai::AIStreamProvider& target_;
};

}  // namespace

CliAIServices::~CliAIServices() = default;

agents::AntigravityACPServer& CliAIServices::agentServer(CliContext& context, std::string_view modelID) {
  const std::string name = customAgentName(modelID);
  std::lock_guard lock(agentsMutex_);
  std::unique_ptr<CliAgentServer>& agent = agents_[name];
  if (!agent) agent = std::make_unique<CliAgentServer>(context, name);
  return agent->server();
}

CliAIServices::CliAIServices(CliContext& context, const std::string& baseURL) {
  chatGPTCoordinator_ = std::make_unique<ai::OAuthCredentialCoordinator>(
      context.credentials(), tokenClient_, wallClock_, ai::chatGPTRefreshSettings(context.settings()));
  chatGPTAccount_ = std::make_unique<ai::OAuthAccountAccessSource>(*chatGPTCoordinator_);
  xaiCoordinator_ = std::make_unique<ai::OAuthCredentialCoordinator>(
      context.credentials(), tokenClient_, wallClock_, ai::xaiRefreshSettings(context.settings()));
  xaiAccount_ = std::make_unique<ai::OAuthAccountAccessSource>(*xaiCoordinator_);
  factory_ = std::make_unique<ai::AIServiceFactory>(
      ai::AIServiceDependencies{
          .transport = transport_,
          .clock = clock_,
          .random = random_,
          .wallClock = wallClock_,
          .credentials = context.credentials(),
          .usageRecorder = context.usageStore(),
          .settings = &context.settings(),
          .chatGPTAccount = chatGPTAccount_.get(),
          .xaiAccount = xaiAccount_.get(),
          .agentAdapter =
              [this, &context](std::string_view modelID) {
                return std::unique_ptr<ai::AIStreamProvider>(
                    std::make_unique<ForwardingProvider>(agentServer(context, modelID)));
              }},
      ai::AIModelCatalog(ai::AIUserModels::fromSettings(context.settings())),
      baseURL.empty() ? std::nullopt : std::optional<std::string>(baseURL));
}

std::string chosenModel(CliContext& context, const std::string& model) {
  if (!model.empty()) return model;
  if (auto stored = context.settings().stringValue(std::string(ai::kAssistantSelectedModelKey));
      stored && !stored->empty() && *stored != ai::kLastUsedModelSentinel) {
    return *stored;
  }
  return std::string(*ai::defaultModel(ai::AIProvider::kCodex));
}

ai::AIAttachment readAttachment(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw CliUsageError("cannot read the attachment " + path);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const size_t slash = path.rfind('/');
  return {slash == std::string::npos ? path : path.substr(slash + 1), mediaTypeForFile(path),
          std::move(bytes)};
}

bool streamUntilInterrupted(ai::AIStreamProvider& provider, ai::AIStreamRequest request,
                            const std::function<void(const ai::AIStreamEvent&)>& onEvent) {
  InterruptGuard interrupt;
  auto stream = provider.stream(std::move(request));
  std::atomic<bool> interrupted = false;
  std::jthread watcher([&](std::stop_token stop) {
    while (!stop.stop_requested()) {
      if (InterruptGuard::interrupted()) {
        interrupted = true;
        stream.cancel();
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  });
  try {
    while (auto event = stream.next()) onEvent(*event);
  } catch (const core::CancellationError&) {
    if (!interrupted) throw;
  }
  return !interrupted;
}

}  // namespace zephyl::cli
