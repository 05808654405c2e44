// `zephyl agent`: the Antigravity agent's install and status.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <stop_token>
#include <string>
#include <thread>

#include "agents/antigravity_acp_error.h"
#include "agents/antigravity_acp_installer.h"
#include "agents/antigravity_acp_server.h"
#include "agents/antigravity_acp_sign_in.h"
#include "agents/custom_acp_agent.h"
#include "ai/ai_model_catalog.h"
#include "cli/agent_process_records.h"
#include "cli/agent_service_support.h"
#include "cli/ai_command_support.h"
#include "cli/assistant_turn_runner.h"
#include "cli/chat_history.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"
#include "platform/linux/curl_http_transport.h"

namespace zephyl::cli {
namespace {

using namespace std::chrono_literals;

// The certificate authorities to trust instead of the system's, as curl's own
// tool reads them: CURL_CA_BUNDLE, else SSL_CERT_FILE.
std::string certificateAuthorityFile(const core::EnvironmentLookup& environment) {
  for (const char* name : {"CURL_CA_BUNDLE", "SSL_CERT_FILE"}) {
    if (auto value = environment(name); value && !value->empty()) return *value;
  }
  return {};
}

// Tests serve the registry and its archives from this machine, which the
// installer refuses: archives come from Google's host only. This variable, named
// for tests and read only here, adds loopback hosts to that list. The widening is
// never derived from the registry URL or the registry document: a registry on
// loopback can be run by any local program, and a pasted `--registry` must not
// be able to choose where archives come from. Non-loopback names in it are dropped.
constexpr const char* kTestArchiveHostsVariable = "ZEPHYL_TEST_LOOPBACK_ARCHIVE_HOSTS";

std::vector<std::string> allowedArchiveHosts(const core::EnvironmentLookup& environment) {
  std::vector<std::string> hosts{std::string(agents::kAntigravityDownloadHost)};
  if (auto extra = environment(kTestArchiveHostsVariable)) {
    for (std::string& host : agents::loopbackArchiveHosts(*extra)) hosts.push_back(std::move(host));
  }
  return hosts;
}

std::string installDirectory(CliContext& context) {
  return agents::antigravityACPInstallDirectory(context.directories().dataDirectory);
}

// Runs the install on a worker so that Ctrl-C stops it at once, even while the
// connection is silent.
agents::AntigravityACPInstallResult installInterruptibly(
    agents::AntigravityACPInstaller& installer, const agents::AntigravityACPInstaller::Progress& progress) {
  InterruptGuard interrupt;
  std::stop_source stop;
  auto result = std::async(std::launch::async, [&] { return installer.install(progress, stop.get_token()); });
  while (result.wait_for(100ms) != std::future_status::ready) {
    if (InterruptGuard::interrupted()) stop.request_stop();
  }
  return result.get();
}

void addInstallCommand(CLI::App& agent, CliContext& context) {
  auto* command =
      agent.add_subcommand("install", "Install or update the Antigravity agent from the ACP registry");
  auto registry = std::make_shared<std::string>(agents::kACPRegistryBaseURL);
  command
      ->add_option("--registry", *registry,
                   "The ACP registry: its https root, or the registry document's URL")
      ->capture_default_str();
  command->callback([&context, registry] {
    // A registry that is not https is refused by the installer before any request.
    const std::string registryURL = agents::acpRegistryDocumentURL(*registry);
    auto& streams = context.streams();
    platform::CurlHTTPTransport transport(certificateAuthorityFile(context.environment()));
    agents::AntigravityACPInstallerConfiguration configuration;
    configuration.registryURL = registryURL;
    configuration.installDirectory = installDirectory(context);
    configuration.allowedArchiveHosts = allowedArchiveHosts(context.environment());
    agents::AntigravityACPInstaller installer(transport, context.fileSystem(), configuration);

    if (installer.installation() && streams.errIsTerminal)
      streams.err << "Checking for Antigravity updates…\n";
    std::optional<ProgressBar> bar;
    const auto progress = [&](uint64_t received, std::optional<uint64_t> total) {
      if (!bar) {
        if (streams.errIsTerminal && !total) streams.err << "Downloading Google’s Antigravity agent…\n";
        bar.emplace(streams.err, streams.errIsTerminal, "Downloading Google’s Antigravity agent…",
                    static_cast<long>(total.value_or(0)));
      }
      bar->update(static_cast<long>(received));
    };
    const agents::AntigravityACPInstallResult result = installInterruptibly(installer, progress);
    if (bar) bar->finish();
    switch (result.outcome) {
      case agents::AntigravityACPInstallOutcome::kInstalled:
        streams.out << "Antigravity " << result.installation.version << " installed.\n";
        break;
      case agents::AntigravityACPInstallOutcome::kUpdated:
        streams.out << "Antigravity updated. Version " << result.installation.version << ".\n";
        break;
      case agents::AntigravityACPInstallOutcome::kUpToDate:
        streams.out << "Antigravity is up to date. Version " << result.installation.version << ".\n";
        break;
    }
  });
}

void addStatusCommand(CLI::App& agent, CliContext& context) {
  auto* command =
      agent.add_subcommand("status", "Show whether the Antigravity agent is installed and signed in");
  auto asJson = std::make_shared<bool>(false);
  command->add_flag("--json", *asJson,
                    "Print JSON: {installed, version, directory, command, arguments, signedIn, signInKind}");
  command->callback([&context, asJson] {
    const std::string directory = installDirectory(context);
    const auto installation = agents::readAntigravityACPInstallation(context.fileSystem(), directory);
    std::optional<std::string> signInKind;
    try {
      signInKind = agents::antigravityACPSignInKind(context.fileSystem().readFile(
          agents::antigravityACPAuthSettingsPath(context.directories().homeDirectory)));
    } catch (const core::Error&) {
      // An unreadable settings file means not signed in, as for the agent itself.
    }
    auto& out = context.streams().out;
    if (*asJson) {
      JsonWriter json(out);
      json.beginObject();
      json.key("installed").value(installation.has_value());
      json.key("version").value(installation ? std::optional(installation->version) : std::nullopt);
      json.key("directory").value(directory);
      json.key("command").value(installation ? std::optional(installation->executablePath()) : std::nullopt);
      json.key("arguments").stringArray(installation ? installation->arguments : std::vector<std::string>{});
      json.key("signedIn").value(signInKind.has_value());
      json.key("signInKind").value(signInKind);
      json.endObject();
      json.finish();
      return;
    }
    if (!installation) {
      out << "Antigravity: not installed (zephyl agent install)\n";
    } else {
      out << "Antigravity: version " << installation->version << "\n  " << installation->executablePath();
      for (const auto& argument : installation->arguments) out << ' ' << argument;
      out << '\n';
    }
    out << "Sign-in: "
        << (signInKind ? "signed in (" + *signInKind + ")" : "not signed in (zephyl agent login)") << '\n';
  });
}

// Runs `work` with a stop token that Ctrl-C requests.
template <typename Work>
void runInterruptibly(Work&& work) {
  InterruptGuard interrupt;
  std::stop_source stop;
  std::jthread watcher([&stop](std::stop_token done) {
    while (!done.stop_requested()) {
      if (InterruptGuard::interrupted()) stop.request_stop();
      std::this_thread::sleep_for(50ms);
    }
  });
  work(stop.get_token());
}

ai::AIWebToolMode webMode(const std::string& text) {
  if (text == "off") return ai::AIWebToolMode::kOff;
  if (text == "auto") return ai::AIWebToolMode::kAutomatic;
  if (text == "always") return ai::AIWebToolMode::kProviderNative;
  throw CliUsageError("--web takes off, auto or always");
}

void addAgentAskCommand(CLI::App& agent, CliContext& context) {
  auto* command =
      agent.add_subcommand("ask", "Ask the Antigravity agent (or a custom ACP agent) one question");
  struct Options {
    std::string question;
    std::string model;
    std::string web = "auto";
    std::vector<std::string> attachments;
    std::string agent;
  };
  auto options = std::make_shared<Options>();
  command->add_option("QUESTION", options->question, "The question; - reads standard input");
  command->add_option("--model", options->model, "The Antigravity model to use (default: Gemini 3.8 Flash)");
  command->add_option("--web", options->web, "Web search for this turn: off, auto or always")
      ->capture_default_str();
  command->add_option("--attach", options->attachments, "A file to send with the question (repeatable)");
  command->add_option("--agent", options->agent, "A custom ACP agent from the setting customACPAgents");
  command->callback([&context, options] {
    auto& streams = context.streams();
    std::string question = options->question;
    if ((question.empty() || question == "-") && streams.in != nullptr)
      question.assign(std::istreambuf_iterator<char>(*streams.in), std::istreambuf_iterator<char>());
    std::string model;
    if (!options->agent.empty()) {
      if (!options->model.empty())
        throw CliUsageError("--model chooses an Antigravity model; a custom agent uses its own");
      model = std::string(ai::kACPAgentModelPrefix) + options->agent;
    } else {
      model =
          options->model.empty() ? std::string(*ai::defaultModel(ai::AIProvider::kGemini)) : options->model;
    }
    assistant::AssistantTurnParts parts;
    parts.request = question;
    for (const std::string& path : options->attachments) parts.uploads.push_back(readAttachment(path));

    // The agent answers an assistant turn like any provider: composed, stored
    // in the chat history, counted in the usage store.
    CliAIServices services(context, "");
    ai::AIServiceFactory& factory = services.factory();
    AssistantTurnChoice choice = assistantTurnChoice(context, factory, model);
    if (choice.provider != ai::AIProvider::kGemini)
      throw CliUsageError("\"" + model + "\" is not an Antigravity model; zephyl models lists them");
    choice.webSearchMode = webMode(options->web);
    ChatHistory chats(context);
    assistant::ChatSession session;
    AssistantTurnRunner runner(context, chats, &factory, false);
    const PreparedAssistantTurn turn = runner.prepare(session, std::move(parts), choice);
    const std::unique_ptr<ai::AIStreamProvider> provider = factory.makeProvider(choice.model);
    if (!runner.run(session, question, turn, choice, *provider).completed) throw core::CancellationError();
  });
}

void addLoginCommand(CLI::App& agent, CliContext& context) {
  auto* command =
      agent.add_subcommand("login", "Sign in to the Antigravity agent with Google (opens a browser)");
  command->callback([&context] {
    CliAgentServer agentServer(context, "");
    agents::AntigravityACPServer& server = agentServer.server();
    runInterruptibly([&](std::stop_token stop) { server.signIn(stop); });
    context.streams().out << (server.isSignedIn() ? "Signed in to Antigravity.\n"
                                                  : "The agent finished sign-in but recorded no account.\n");
  });
}

void addStopCommand(CLI::App& agent, CliContext& context) {
  auto* command = agent.add_subcommand(
      "stop", "Stop the agent processes that running Zephyl commands (such as zephyl chat) started");
  command->callback([&context] {
    // Each command line is its own process and stops its agent when it ends, so
    // only an agent of another Zephyl still running is left to stop; the
    // commands that start agents record them for this.
    AgentProcessRecords records(context.fileSystem(),
                                agentProcessRecordsDirectory(context.directories().dataDirectory));
    const int stopped = records.stopAll(agents::kACPKillDelay);
    auto& out = context.streams().out;
    if (stopped == 0) {
      out << "No agent is running: none was started by a Zephyl command that is still running.\n";
    } else {
      out << "Stopped " << stopped << (stopped == 1 ? " agent process" : " agent processes")
          << " started by a running Zephyl command.\n";
    }
  });
}

}  // namespace

void addAgentCommand(CLI::App& app, CliContext& context) {
  auto* agent = app.add_subcommand("agent", "The Antigravity agent and custom ACP agents");
  agent->require_subcommand(1);
  addInstallCommand(*agent, context);
  addStatusCommand(*agent, context);
  addAgentAskCommand(*agent, context);
  addLoginCommand(*agent, context);
  addStopCommand(*agent, context);
}

}  // namespace zephyl::cli
