// `zephyl auth login` run as a separate process against fake issuers, with a
// test "browser" that opens the address it prints; then a check that no
// secret that passed through any auth command shows up where it must not.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ai/oauth_encoding.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/testing/fake_authorization_server.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;

std::string jwt(const std::string& payload) {
  return ai::base64URLEncode(R"({"alg":"none"})") + "." + ai::base64URLEncode(payload) + ".sig";
}

std::string readAll(const std::string& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

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
    const std::string command =
        "env -i HOME='" + folder_.path() + "' ZEPHYL_LOG=debug ZEPHYL_CREDENTIAL_STORE=file '" + zephyl_ +
        "' --config-dir '" + folder_.file("config") + "' --data-dir '" + folder_.file("data") + "' " +
        arguments + " <'" + inFile + "' 2>'" + errFile + "'";
    FILE* pipe = ::popen(command.c_str(), "r");
    Run result{};
    char line[8192];
    while (std::fgets(line, sizeof line, pipe)) {
      result.out += line;
      if (onLine) onLine(line);
    }
    const int status = ::pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = readAll(errFile);
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

  std::string zephyl_;
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
    EXPECT_EQ(readAll(folder_.file("config/settings.json")).find(secret), std::string::npos) << secret;
  }
}

TEST_F(AuthLoginProcessTest, XAIDeviceSignInPollsUntilApproved) {
  int polls = 0;
  platform::testing::LoopbackHTTPServer server([&](const platform::testing::LoopbackRequest& request,
                                                   platform::testing::LoopbackConnection& connection, int) {
    std::string body;
    int status = 200;
    if (request.target == "/oauth/device/code") {
      body = R"({"device_code":"dc","user_code":"WDJB-MJHT","verification_uri":"https://x.example/device",)"
             R"("expires_in":60,"interval":1})";
    } else if (++polls == 1) {
      status = 400;
      body = R"({"error":"authorization_pending"})";
    } else {
      body = R"({"access_token":"xat-SECRET","refresh_token":"xrt-SECRET","expires_in":600})";
    }
    connection.write("HTTP/1.1 " + std::to_string(status) +
                     " X\r\nContent-Type: application/json\r\nContent-Length: " +
                     std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
  });
  const Run login = run("auth login xai --no-browser --issuer " + server.url(""));
  ASSERT_EQ(login.code, 0) << login.err;
  EXPECT_NE(login.out.find("WDJB-MJHT"), std::string::npos);
  EXPECT_EQ(polls, 2);
  const Run status = run("auth status --json");
  for (const auto& row : nlohmann::json::parse(status.out)) {
    if (row["provider"] == "xaiAccount") {
      EXPECT_EQ(row["configured"], true);
    }
  }
  EXPECT_EQ(transcript_.find("xrt-SECRET"), std::string::npos);
  struct stat file;
  ASSERT_EQ(::stat(folder_.file("data/credentials/credentials.json").c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600u);
}

}  // namespace
}  // namespace zephyl::cli
