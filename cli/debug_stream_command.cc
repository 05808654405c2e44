// `zephyl debug stream`: one AIStreamRequest through the same stack every
// caller gets from AIServiceFactory, printed one JSON line per event.
#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "cli/ai_command_support.h"
#include "cli/ai_stream_event_json.h"
#include "cli/commands.h"
#include "cli/notes_query_function_tool.h"

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
  if (options.notesTool) request.functionTools.push_back(std::make_shared<NotesQueryFunctionTool>(context));
  request.allowsGeneratedImages = options.images;
  if (!options.conversation.empty()) request.conversationID = options.conversation;
  for (const auto& path : options.attachments) request.attachments.push_back(readAttachment(path));
  request.transportRetryPolicy = ai::AITransportRetryPolicy::interactive();
  request.performanceContext = ai::AIPerformanceContext{"", "request", catalog.provider(request.model),
                                                        request.model, std::chrono::steady_clock::now()};
  return request;
}

void runDebugStream(CliContext& context, const DebugStreamOptions& options) {
  CliAIServices services(context, options.baseURL);
  const ai::AIStreamRequest request = buildRequest(context, options, services.factory().catalog());

  AIStreamEventPrinter printer(context.streams().out);
  std::string failure;
  try {
    const std::unique_ptr<ai::AIStreamProvider> provider = services.factory().makeProvider(request.model);
    if (!streamUntilInterrupted(*provider, request,
                                [&](const ai::AIStreamEvent& event) { printer.print(event); })) {
      throw core::CancellationError();
    }
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
