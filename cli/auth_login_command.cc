// `zephyl auth login codex|xai`: account sign-in. codex opens the issuer's
// page and waits for the browser to come back to a loopback port; xai shows a
// code to enter on the issuer's page and polls until it is approved.
#include <spawn.h>
#include <sys/wait.h>

#include <memory>
#include <stop_token>
#include <string>
#include <thread>

#include "ai/ai_settings_keys.h"
#include "ai/oauth_account_settings.h"
#include "ai/oauth_authorization_code_flow.h"
#include "ai/oauth_device_flow.h"
#include "ai/oauth_error.h"
#include "cli/commands.h"
#include "core/logger.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/linux/loopback_callback_receiver.h"
#include "platform/linux/system_clock.h"
#include "platform/linux/system_secure_random.h"

extern char** environ;

namespace zephyl::cli {
namespace {

constexpr core::Logger kLog("AuthLogin");

struct LoginOptions {
  std::string provider;
  std::string issuer;  // empty: the settings
  bool noBrowser = false;
  int timeoutSeconds = 300;
};

// Starts the desktop's browser on `url` where there is a display; the address
// is printed either way, so a failure here only goes to the log.
void openBrowser(CliContext& context, const LoginOptions& options, const std::string& url) {
  if (options.noBrowser) return;
  if (!context.environment()("DISPLAY") && !context.environment()("WAYLAND_DISPLAY")) return;
  pid_t child = 0;
  std::string program = "xdg-open";
  std::string argument = url;  // the address carries no secret: only the PKCE challenge and state
  char* argv[] = {program.data(), argument.data(), nullptr};
  if (::posix_spawnp(&child, "xdg-open", nullptr, nullptr, argv, environ) != 0) {
    kLog.info() << "xdg-open could not be started";
    return;
  }
  std::thread([child] { ::waitpid(child, nullptr, 0); }).detach();
}

std::optional<std::string> issuerOption(const LoginOptions& options) {
  return options.issuer.empty() ? std::nullopt : std::optional<std::string>(options.issuer);
}

void storeTokens(CliContext& context, std::string_view secretName, const ai::OAuthTokens& tokens) {
  context.storedCredentials().setSecret(std::string(secretName), ai::serializeOAuthTokens(tokens));
  const auto source = context.storedCredentials().source(std::string(secretName));
  context.streams().out << "Signed in" << (tokens.accountID.empty() ? "" : "; account " + tokens.accountID)
                        << ". Tokens stored in "
                        << (source ? platform::credentialSourceName(*source) : "the credential store")
                        << ".\n";
}

void loginChatGPT(CliContext& context, const LoginOptions& options) {
  const ai::AuthorizationCodeEndpoints endpoints =
      ai::chatGPTSignInEndpoints(context.settings(), issuerOption(options));
  auto receiver = platform::LoopbackCallbackReceiver::listen(endpoints.callbackPorts);
  platform::CurlHTTPTransport transport;
  ai::OAuthTokenClient client(transport);
  platform::SystemSecureRandom random;
  platform::SystemClock clock;
  auto& out = context.streams().out;
  const auto show = [&](const std::string& url) {
    out << "Open this address to sign in to ChatGPT:\n  " << url << '\n' << std::flush;
    openBrowser(context, options, url);
    context.streams().err << "Waiting for the browser (up to " << options.timeoutSeconds << " s)...\n";
  };
  const ai::OAuthTokens tokens =
      ai::signInWithAuthorizationCode(endpoints, client, *receiver, random, clock, show,
                                      std::chrono::seconds(options.timeoutSeconds), std::stop_token());
  storeTokens(context, ai::kChatGPTAccountTokensName, tokens);
}

void loginXAI(CliContext& context, const LoginOptions& options) {
  const auto endpoints = ai::xaiDeviceFlowEndpoints(context.settings(), issuerOption(options));
  if (!endpoints)
    throw ai::OAuthError(ai::OAuthError::Code::kEndpointsUnknown, ai::xaiEndpointsUnknownAdvice());
  platform::CurlHTTPTransport transport;
  ai::OAuthTokenClient client(transport);
  const ai::DeviceAuthorization authorization = ai::requestDeviceAuthorization(client, *endpoints, {});
  const std::string& url = authorization.verificationURIComplete.empty()
                               ? authorization.verificationURI
                               : authorization.verificationURIComplete;
  context.streams().out << "Open " << authorization.verificationURI << " and enter the code "
                        << authorization.userCode << "\n  " << url << '\n'
                        << std::flush;
  openBrowser(context, options, url);
  context.streams().err << "Waiting for approval (the code expires in " << authorization.expiresIn.count()
                        << " s)...\n";
  ai::SteadyMonotonicClock monotonic;
  platform::SystemClock clock;
  const ai::OAuthTokens tokens =
      ai::pollForDeviceTokens(client, monotonic, clock, *endpoints, authorization, std::stop_token());
  storeTokens(context, ai::kXAIAccountTokensName, tokens);
}

}  // namespace

void addAuthLoginCommand(CLI::App& auth, CliContext& context) {
  auto* command = auth.add_subcommand("login", "Sign in to an account: codex (ChatGPT) or xai");
  auto options = std::make_shared<LoginOptions>();
  command->add_option("PROVIDER", options->provider, "codex or xai")
      ->required()
      ->check(CLI::IsMember({"codex", "xai"}));
  command->add_option(
      "--issuer", options->issuer,
      "The sign-in service's root address (codex: /oauth/authorize and /oauth/token under it; "
      "xai: /oauth/device/code and /oauth/token)");
  command->add_flag("--no-browser", options->noBrowser, "Only print the address; do not start a browser");
  command->add_option("--timeout", options->timeoutSeconds, "Seconds to wait for the browser (codex)")
      ->check(CLI::PositiveNumber);
  command->callback([&context, options] {
    if (options->provider == "codex") {
      loginChatGPT(context, *options);
    } else {
      loginXAI(context, *options);
    }
  });
}

}  // namespace zephyl::cli
