// `zephyl debug stream`: one AIStreamRequest through the same stack every
// caller gets from AIServiceFactory, printed one JSON line per event.
#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "ai/ai_service_factory.h"
#include "ai/ai_settings_keys.h"
#include "cli/ai_stream_event_json.h"
#include "cli/commands.h"
#include "cli/terminal.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/linux/system_clock.h"
#include "platform/linux/system_random_source.h"

namespace zephyl::cli {
namespace {

struct DebugStreamOptions {
  std::string text;
  std::string model;
  std::string effort;
  std::string instructions;
  std::string webSearch = "off";
  bool notesTool = false;
  bool images = false;
  std::string conversation;
  std::vector<std::string> attachments;
  std::string baseURL;
};

std::string mediaTypeForFile(const std::string& path) {
  const size_t dot = path.rfind('.');
  std::string extension = dot == std::string::npos ? "" : path.substr(dot + 1);
  for (char& character : extension)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  static const std::pair<const char*, const char*> kTypes[] = {
      {"png", "image/png"},   {"jpg", "image/jpeg"},       {"jpeg", "image/jpeg"}, {"gif", "image/gif"},
      {"webp", "image/webp"}, {"pdf", "application/pdf"},  {"txt", "text/plain"},  {"md", "text/markdown"},
      {"csv", "text/csv"},    {"json", "application/json"}};
  for (const auto& [known, type] : kTypes) {
    if (extension == known) return type;
  }
  return "application/octet-stream";
}

ai::AIAttachment readAttachment(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw CliUsageError("cannot read the attachment " + path);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const size_t slash = path.rfind('/');
  return {slash == std::string::npos ? path : path.substr(slash + 1), mediaTypeForFile(path),
          std::move(bytes)};
}

std::string chosenModel(CliContext& context, const std::string& model) {
  if (!model.empty()) return model;
  if (auto stored = context.settings().stringValue(std::string(ai::kAssistantSelectedModelKey));
      stored && !stored->empty() && *stored != ai::kLastUsedModelSentinel) {
    return *stored;
  }
  return std::string(*ai::defaultModel(ai::AIProvider::kCodex));
}

ai::AIStreamRequest buildRequest(CliContext& context, const DebugStreamOptions& options,
                                 const ai::AIModelCatalog& catalog) {
  ai::AIStreamRequest request;
  if (options.text.empty() || options.text == "-") {
    if (context.streams().in != nullptr) {
      request.input.assign(std::istreambuf_iterator<char>(*context.streams().in),
                           std::istreambuf_iterator<char>());
    }
  } else {
    request.input = options.text;
  }
  request.model = chosenModel(context, options.model);
  if (!options.effort.empty()) {
    request.reasoningEffort = ai::reasoningEffortFromRawValue(options.effort);
    if (!request.reasoningEffort) throw CliUsageError("unknown effort \"" + options.effort + "\"");
  }
  request.instructions = options.instructions;
  request.webSearchMode = options.webSearch == "always" ? ai::AIWebToolMode::kAlways
                          : options.webSearch == "auto" ? ai::AIWebToolMode::kAutomatic
                                                        : ai::AIWebToolMode::kOff;
  request.allowsLocalNotesQuery = options.notesTool;
  request.allowsGeneratedImages = options.images;
  if (!options.conversation.empty()) request.conversationID = options.conversation;
  for (const auto& path : options.attachments) request.attachments.push_back(readAttachment(path));
  request.transportRetryPolicy = ai::AITransportRetryPolicy::interactive();
  request.performanceContext = ai::AIPerformanceContext{"", "request", catalog.provider(request.model),
                                                        request.model, std::chrono::steady_clock::now()};
  return request;
}

void runDebugStream(CliContext& context, const DebugStreamOptions& options) {
  platform::CurlHTTPTransport transport;
  ai::SteadyMonotonicClock clock;
  platform::SystemRandomSource random;
  platform::SystemClock wallClock;
  ai::AIServiceFactory factory(
      ai::AIServiceDependencies{.transport = transport,
                                .clock = clock,
                                .random = random,
                                .wallClock = wallClock,
                                .credentials = context.credentials(),
                                .usageRecorder = context.usageStore(),
                                .settings = &context.settings()},
      ai::AIModelCatalog(ai::AIUserModels::fromSettings(context.settings())),
      options.baseURL.empty() ? std::nullopt : std::optional<std::string>(options.baseURL));
  const ai::AIStreamRequest request = buildRequest(context, options, factory.catalog());

  AIStreamEventPrinter printer(context.streams().out);
  std::string failure;
  try {
    const std::unique_ptr<ai::AIStreamProvider> provider = factory.makeProvider(request.model);
    InterruptGuard interrupt;
    auto stream = provider->stream(request);
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
    while (auto event = stream.next()) printer.print(*event);
    if (interrupted) throw core::CancellationError();
    return;
  } catch (const core::CancellationError&) {
    throw;
  } catch (const std::exception& error) {
    failure = error.what();
  }
  printer.printError(failure);
  throw CliFailure(failure);
}

}  // namespace

void addDebugStreamCommand(CLI::App& debug, CliContext& context) {
  auto* command = debug.add_subcommand(
      "stream", "Send one request to the model's service and print one JSON line per stream event");
  auto options = std::make_shared<DebugStreamOptions>();
  command->add_option("TEXT", options->text, "The request text; - or nothing reads standard input");
  command->add_option("--model", options->model, "Model id (default: the assistant's model, else gpt-6-sol)");
  command->add_option("--effort", options->effort, "Reasoning effort: none, low, medium, high, xhigh, max");
  command->add_option("--instructions", options->instructions, "Instructions sent beside the input");
  command->add_option("--web-search", options->webSearch, "off, auto or always")
      ->check(CLI::IsMember({"off", "auto", "always"}));
  command->add_flag("--notes-tool", options->notesTool, "Offer the notes query tool");
  command->add_flag("--images", options->images, "Offer the image generation tool");
  command->add_option("--conversation", options->conversation, "Conversation id (the prompt cache key)");
  command->add_option("--attach", options->attachments, "Attach a file (repeatable)");
  command->add_option("--base-url", options->baseURL, "Replace the provider's base URL for this run");
  command->callback([&context, options] { runDebugStream(context, *options); });
}

}  // namespace zephyl::cli
