// `zephyl agent`: the Antigravity agent's install and status.
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "agents/antigravity_acp_installer.h"
#include "agents/antigravity_acp_sign_in.h"
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

}  // namespace

void addAgentCommand(CLI::App& app, CliContext& context) {
  auto* agent = app.add_subcommand("agent", "The Antigravity agent: install it, check it");
  agent->require_subcommand(1);
  addInstallCommand(*agent, context);
  addStatusCommand(*agent, context);
}

}  // namespace zephyl::cli
