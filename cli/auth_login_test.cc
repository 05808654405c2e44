// `zephyl auth login` run as a separate process against fake issuers, with a
// test "browser" that opens the address it prints; the signed-in accounts then
// stream from a loopback service; and checks that no secret that passed
// through any command shows up where it must not.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

#include "ai/ai_provider.h"
#include "core/base64.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/testing/fake_authorization_server.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;

std::string jwt(const std::string& payload) {
  return core::base64Encode(R"({"alg":"none"})", core::Base64Alphabet::kURL) + "." +
         core::base64Encode(payload, core::Base64Alphabet::kURL) + ".sig";
}

// A Responses service on loopback: a short answer to any request; keeps the
// credentials each request carried.
class ResponsesReplay {
 public:
  struct Seen {
    std::string authorization;
    std::string accountID;
  };

  ResponsesReplay()
      : server_(
            [this](const platform::testing::LoopbackRequest& request,
                   platform::testing::LoopbackConnection& connection, int) { handle(request, connection); },
            64) {}

  std::string url() const { return server_.url(""); }
  // What came since the last call.
  std::vector<Seen> takeRequests() {
    std::lock_guard lock(mutex_);
    return std::exchange(seen_, {});
  }

 private:
  void handle(const platform::testing::LoopbackRequest& request,
              platform::testing::LoopbackConnection& connection) {
    Seen seen;
    for (const auto& [name, value] : request.headers) {
      if (name == "Authorization") seen.authorization = value;
      if (name == "chatgpt-account-id") seen.accountID = value;
    }
    std::lock_guard lock(mutex_);
    seen_.push_back(seen);
    const std::string body =
        "event: response.output_text.delta\ndata: {\"type\":\"response.output_text.delta\",\"item_id\":"
        "\"m\",\"delta\":\"Hi\"}\n\nevent: response.completed\ndata: {\"type\":\"response.completed\","
        "\"response\":{\"id\":\"r1\"}}\n\n";
    connection.writeResponse("200 OK", "text/event-stream", body);
  }

  std::mutex mutex_;  // guards the fields below
  std::vector<Seen> seen_;
  platform::testing::LoopbackHTTPServer server_;  // last: stops before the fields go
};

class AuthLoginProcessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zephyl_ = (fs::read_symlink("/proc/self/exe").parent_path() / "zephyl").string();
    if (!fs::exists(zephyl_)) GTEST_SKIP() << "build the zephyl target first";
    fs::create_directories(folder_.file("config"));
    std::ofstream(folder_.file("config/settings.json")) << R"({"chatGPTOAuthCallbackPorts":[0]})";
  }

  struct Run {
    int code;
    std::string out;
    std::string err;
  };

  // Runs zephyl with debug logging (private values shown) and the file store;
  // `onLine` sees each line of standard output as it arrives.
  Run run(const std::string& arguments, const std::string& input = "",
          const std::function<void(const std::string&)>& onLine = {}) {
    const std::string errFile = folder_.file("stderr.txt"), inFile = folder_.file("stdin.txt");
    std::ofstream(inFile) << input;
    const std::string command = "env -i HOME='" + folder_.path() + "' " + environment_ +
                                " ZEPHYL_LOG=debug ZEPHYL_CREDENTIAL_STORE=file '" + zephyl_ +
                                "' --config-dir '" + folder_.file("config") + "' --data-dir '" +
                                folder_.file("data") + "' " + arguments + " <'" + inFile + "' 2>'" + errFile +
                                "'";
    FILE* pipe = ::popen(command.c_str(), "r");
    Run result{};
    char line[8192];
    while (std::fgets(line, sizeof line, pipe)) {
      result.out += line;
      if (onLine) onLine(line);
    }
    const int status = ::pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = platform::testing::readFile(errFile);
    transcript_ += result.out + result.err;
    return result;
  }

  // The browser: opens the sign-in address that zephyl prints, once.
  std::function<void(const std::string&)> browser(std::optional<long>& callbackStatus) {
    return [this, &callbackStatus](const std::string& line) {
      if (line.starts_with("  http") && !callbackStatus) {
        std::string url = line.substr(2);
        url.erase(url.find_last_not_of("\r\n") + 1);
        callbackStatus = platform::testing::followAuthorizationInBrowser(transport_, url);
      }
    };
  }

  Run stream(const std::string& model, const ResponsesReplay& service) {
    return run("debug stream hi --model '" + model + "' --base-url " + service.url());
  }

  std::string zephyl_;
  std::string environment_;  // more NAME=value words for every run
  platform::testing::TestFolder folder_;
  platform::CurlHTTPTransport transport_;
  std::string transcript_;  // every output of every command
};

TEST_F(AuthLoginProcessTest, CodexSignInStoresTheAccountAndNoSecretLeaks) {
  const std::string accessToken = "at-SECRET-4711", refreshToken = "rt-SECRET-4711",
                    apiKey = "sk-SECRET-0815";
  const std::string idToken = jwt(R"({"https://api.openai.com/auth":{"chatgpt_account_id":"acct-42"}})");
  platform::testing::FakeAuthorizationServer issuer(
      R"({"access_token":")" + accessToken + R"(","refresh_token":")" + refreshToken + R"(","id_token":")" +
      idToken + R"(","expires_in":3600})");

  std::optional<long> callback;
  const Run login =
      run("auth login codex --no-browser --timeout 20 --issuer " + issuer.issuer(), "", browser(callback));
  ASSERT_EQ(login.code, 0) << login.err;
  EXPECT_EQ(callback, 200);
  EXPECT_NE(login.out.find("account acct-42"), std::string::npos) << login.out;

  const Run status = run("auth status --json");
  ASSERT_EQ(status.code, 0) << status.err;
  const auto codex = nlohmann::json::parse(status.out)[0];
  EXPECT_EQ(codex, nlohmann::json::parse(
                       R"({"provider":"codex","configured":true,"source":"file","account":"acct-42"})"));

  ASSERT_EQ(run("auth set-key openAIAPI", apiKey + "\n").code, 0);
  run("auth status");
  run("models --json");
  // A failing request: the issuer refuses the code and echoes the secrets in its error body.
  issuer.setTokenReply(
      400, R"({"error":"invalid_request","error_description":"bad )" + refreshToken + " " + apiKey + R"("})");
  callback.reset();
  const Run refused =
      run("auth login codex --no-browser --timeout 20 --issuer " + issuer.issuer(), "", browser(callback));
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("refused"), std::string::npos) << refused.err;
  ASSERT_EQ(run("auth logout codex").code, 0);
  ASSERT_EQ(run("auth logout openAIAPI").code, 0);

  EXPECT_NE(transcript_.find("[OAuthTokenClient]"), std::string::npos) << "debug logging was on";
  for (const std::string& secret : {accessToken, refreshToken, apiKey, idToken}) {
    EXPECT_EQ(transcript_.find(secret), std::string::npos) << "output shows " << secret;
    EXPECT_EQ(platform::testing::readFile(folder_.file("config/settings.json")).find(secret),
              std::string::npos)
        << secret;
  }
}

// The xAI account signed in by the device flow serves its requests, ahead of
// an XAI_API_KEY; signed out, the key serves. The refresh after a 401 is
// CoordinatorTest's.
TEST_F(AuthLoginProcessTest, XAIAccountFromTheDeviceFlowServesStreamsAndTheKeyServesWithoutIt) {
  platform::testing::FakeAuthorizationServer issuer("{}");
  issuer.scriptDevicePolls(
      {{200, R"({"access_token":"xat-SECRET-1","refresh_token":"xrt-SECRET-1","expires_in":3600})"}});
  const Run login = run("auth login xai --no-browser --issuer " + issuer.issuer());
  ASSERT_EQ(login.code, 0) << login.err;
  environment_ = "XAI_API_KEY=xai-key-SECRET";
  const std::string model(*ai::defaultModel(ai::AIProvider::kXAIAccount));
  ResponsesReplay service;

  const Run signedIn = stream(model, service);
  ASSERT_EQ(signedIn.code, 0) << signedIn.err;
  auto requests = service.takeRequests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].authorization, "Bearer xat-SECRET-1");

  ASSERT_EQ(run("auth logout xaiAccount").code, 0);
  const Run keyed = stream(model, service);
  ASSERT_EQ(keyed.code, 0) << keyed.err;
  requests = service.takeRequests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].authorization, "Bearer xai-key-SECRET");
  for (const char* secret : {"xat-SECRET", "xrt-SECRET", "xai-key-SECRET"})
    EXPECT_EQ(transcript_.find(secret), std::string::npos) << "output shows " << secret;
}

// How each poll answer steers the flow is OAuthDeviceFlow's and DeviceFlowPolling's;
// here, that a flow that cannot sign in says why, exits 1 and stores nothing.
TEST_F(AuthLoginProcessTest, XAIDeviceSignInThatFailsSaysWhy) {
  const struct {
    const char* name;
    bool withIssuer;  // without: the endpoints are unknown (no --issuer, no settings)
    std::string message;
  } cases[] = {
      {"access_denied", true, "The sign-in was denied."},
      {"endpoints unknown", false,
       "The sign-in endpoints for this account are not known. xAI has not published device sign-in "
       "endpoints"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    platform::testing::FakeAuthorizationServer issuer("{}");
    issuer.scriptDevicePolls({{400, R"({"error":"access_denied"})"}});
    const Run login =
        run("auth login xai --no-browser" + (test.withIssuer ? " --issuer " + issuer.issuer() : ""));
    EXPECT_EQ(login.code, 1);
    EXPECT_NE(login.err.find(test.message), std::string::npos) << login.err;
    for (const auto& row : nlohmann::json::parse(run("auth status --json").out)) {
      if (row["provider"] == "xaiAccount") {
        EXPECT_EQ(row["configured"], false);
      }
    }
  }
}

// A service that echoes the key in its error body: the key reaches no output,
// no log line (debug logging shows private values) and no file.
TEST_F(AuthLoginProcessTest, AKeyEchoedByTheServiceLeaksNowhere) {
  const std::string key = "sk-SECRET-ECHOED-31337";
  platform::testing::LoopbackHTTPServer service(
      [&](const platform::testing::LoopbackRequest&, platform::testing::LoopbackConnection& connection, int) {
        const std::string body = R"({"error":{"message":"Incorrect API key provided: )" + key +
                                 R"(","header":"Bearer )" + key + R"("}})";
        connection.writeResponse("401 Unauthorized", "application/json", body);
      });
  environment_ = "OPENAI_API_KEY=" + key;
  const Run failed = run("debug stream hi --model openai:gpt-6-sol --base-url " + service.url(""));
  EXPECT_EQ(failed.code, 1);
  EXPECT_EQ(service.requestCount(), 1);
  EXPECT_NE(failed.err.find("[AIHTTPClient]"), std::string::npos) << "the failure was logged";
  EXPECT_NE(failed.err.find("[redacted]"), std::string::npos) << failed.err;
  EXPECT_EQ(transcript_.find(key), std::string::npos) << transcript_;
  std::vector<std::string> files = {folder_.file("config/settings.json")};
  for (const auto& entry : fs::recursive_directory_iterator(folder_.file("data"))) {
    if (entry.is_regular_file()) files.push_back(entry.path().string());
  }
  for (const auto& file : files)
    EXPECT_EQ(platform::testing::readFile(file).find(key), std::string::npos) << file;
}

}  // namespace
}  // namespace zephyl::cli
