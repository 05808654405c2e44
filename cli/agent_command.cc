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
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/linux/posix_spawn_child_process.h"

extern char** environ;

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
    configuration.allowedArchiveHosts = agents::antigravityACPAllowedArchiveHosts(registryURL);
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

std::map<std::string, std::string> processEnvironment() {
  std::map<std::string, std::string> environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const size_t equals = text.find('=');
    if (equals != std::string::npos) environment.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return environment;
}

// The server for Antigravity, or for the custom agent `name` when one is given.
agents::AntigravityACPServerConfiguration serverConfiguration(CliContext& context, const std::string& name) {
  agents::AntigravityACPServerConfiguration configuration;
  const std::string data = context.directories().dataDirectory;
  configuration.workspaceDirectory = data + "/ZephylAntigravityWorkspace";
  configuration.systemEnvironment = processEnvironment();
  if (name.empty()) {
    configuration.authSettingsPath =
        agents::antigravityACPAuthSettingsPath(context.directories().homeDirectory);
    configuration.installation = [&files = context.fileSystem(),
                                  directory =
                                      installDirectory(context)]() -> std::optional<agents::ACPAgentCommand> {
      const auto installation = agents::readAntigravityACPInstallation(files, directory);
      if (!installation) return std::nullopt;
      return agents::ACPAgentCommand{installation->executablePath(), installation->arguments, {}};
    };
    return configuration;
  }
  for (agents::CustomACPAgent& agent : agents::customACPAgents(context.settings())) {
    if (agent.name != name) continue;
    configuration.displayName = agent.name;
    configuration.installation =
        [command = agents::ACPAgentCommand{agent.command, agent.arguments, agent.environment}] {
          return std::optional(command);
        };
    return configuration;
  }
  throw CliUsageError("unknown agent \"" + name + "\"; add it to the setting customACPAgents");
}

ai::AIWebToolMode webMode(const std::string& text) {
  if (text == "off") return ai::AIWebToolMode::kOff;
  if (text == "auto") return ai::AIWebToolMode::kAutomatic;
  if (text == "always") return ai::AIWebToolMode::kProviderNative;
  throw CliUsageError("--web takes off, auto or always");
}

ai::AIAttachment readAttachment(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file.is_open() || file.bad()) {
    throw agents::AntigravityACPServiceError(agents::AntigravityACPServiceError::Code::kUnreadableAttachment);
  }
  return ai::AIAttachment{std::filesystem::path(path).filename().string(), "", std::move(bytes)};
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
  command->add_option("--model", options->model, "The agent's model to use (default: the agent's own)");
  command->add_option("--web", options->web, "Web search for this turn: off, auto or always")
      ->capture_default_str();
  command->add_option("--attach", options->attachments, "A file to send with the question (repeatable)");
  command->add_option("--agent", options->agent, "A custom ACP agent from the setting customACPAgents");
  command->callback([&context, options] {
    auto& streams = context.streams();
    ai::AIStreamRequest request;
    request.input = options->question;
    if (options->question == "-" && streams.in != nullptr) {
      request.input.assign(std::istreambuf_iterator<char>(*streams.in), std::istreambuf_iterator<char>());
    }
    request.model = options->model;
    request.webSearchMode = webMode(options->web);
    for (const std::string& path : options->attachments) request.attachments.push_back(readAttachment(path));

    platform::PosixSpawnChildProcessLauncher launcher;
    ai::SteadyMonotonicClock clock;
    agents::AntigravityACPServer server(launcher, clock, serverConfiguration(context, options->agent));
    bool endsWithNewline = true;
    runInterruptibly([&](std::stop_token stop) {
      server.produce(request, stop, [&](ai::AIStreamEvent event) {
        if (const auto* delta = event.as<ai::AIStreamEvent::AssistantMessageDelta>()) {
          streams.out << delta->text << std::flush;
          if (!delta->text.empty()) endsWithNewline = delta->text.back() == '\n';
        } else if (const auto* tool = event.as<ai::AIStreamEvent::ToolCallUpdated>();
                   tool && streams.errIsTerminal) {
          streams.err << "[" << ai::rawValue(tool->update.kind) << " " << ai::rawValue(tool->update.status)
                      << "] " << tool->update.query.value_or("") << '\n';
        } else if (const auto* thought = event.as<ai::AIStreamEvent::ReasoningSummaryDelta>();
                   thought && streams.errIsTerminal) {
          streams.err << thought->text << std::flush;
        }
      });
    });
    if (!endsWithNewline) streams.out << '\n';
  });
}

void addLoginCommand(CLI::App& agent, CliContext& context) {
  auto* command =
      agent.add_subcommand("login", "Sign in to the Antigravity agent with Google (opens a browser)");
  command->callback([&context] {
    platform::PosixSpawnChildProcessLauncher launcher;
    ai::SteadyMonotonicClock clock;
    agents::AntigravityACPServer server(launcher, clock, serverConfiguration(context, ""));
    runInterruptibly([&](std::stop_token stop) { server.signIn(stop); });
    context.streams().out << (server.isSignedIn() ? "Signed in to Antigravity.\n"
                                                  : "The agent finished sign-in but recorded no account.\n");
  });
}

void addStopCommand(CLI::App& agent, CliContext& context) {
  auto* command = agent.add_subcommand("stop", "Stop a running agent");
  command->callback([&context] {
    // The command line keeps no agent running between commands: each ask starts
    // the agent and stops it when it ends, so there is never one to stop here.
    context.streams().out
        << "No agent is running: each zephyl agent ask starts the agent and stops it when it "
           "ends.\n";
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
