#include "agents/antigravity_acp_installer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "agents/antigravity_acp_installer_error.h"
#include "agents/internal/https_url.h"
#include "agents/internal/sha256.h"
#include "agents/testing/fake_agent_registry.h"
#include "agents/testing/test_archive.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/test_folder.h"

namespace zephyl::agents {
namespace {

namespace fs = std::filesystem;
using testing::FakeAgentRegistry;
using testing::FakeRegistryBinary;
using testing::makeTestArchive;
using testing::TestArchiveEntry;
using Code = AntigravityACPInstallerError::Code;
using Kind = TestArchiveEntry::Kind;

std::string agentArchive(const std::string& greeting) {
  return makeTestArchive({{"bin/agent", Kind::kFile, "#!/bin/sh\necho " + greeting + "\n", 0755},
                          {"README", Kind::kFile, "docs"}});
}

std::string sha256(const std::string& bytes) {
  internal::SHA256 hash;
  hash.update(bytes);
  return hash.finishHex();
}

class AntigravityACPInstallerTest : public ::testing::Test {
 protected:
  AntigravityACPInstallerTest() { std::ofstream(folder_.file("ca.pem")) << registry_.certificatePEM(); }

  AntigravityACPInstaller installer() {
    AntigravityACPInstallerConfiguration configuration;
    configuration.registryURL = registry_.url(kACPRegistryPath);
    configuration.installDirectory = installDirectory_;
    configuration.allowedArchiveHosts = {std::string(kAntigravityDownloadHost), "127.0.0.1"};
    configuration.platformKey = "linux-x86_64";
    configuration.postNotification = [this](std::string_view name) { notifications_.emplace_back(name); };
    return AntigravityACPInstaller(transport_, files_, configuration);
  }

  // Serves `archive` as `version` and points the registry at it.
  void publish(const std::string& version, const std::string& archive, FakeRegistryBinary binary = {}) {
    const std::string path = "/archives/agent-" + version + ".tar.gz";
    registry_.serve(path, archive);
    if (binary.archiveURL.empty()) binary.archiveURL = registry_.url(path);
    registry_.serveRegistry(std::string(kAntigravityACPAgentID), version, {binary});
  }

  AntigravityACPInstallResult install() { return installer().install({}, {}); }

  std::string installedFile(const std::string& relative) {
    return platform::testing::readFile(installDirectory_ + "/" + relative);
  }

  // What sits beside the install folder, apart from it, its lock and its pins.
  std::vector<std::string> leftovers() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.file("agents"))) {
      const std::string name = entry.path().filename().string();
      if (name != "antigravity" && name != "antigravity.lock" && name != "antigravity.pins.json") {
        names.push_back(name);
      }
    }
    return names;
  }

  platform::testing::TestFolder folder_;
  FakeAgentRegistry registry_;
  platform::CurlHTTPTransport transport_{folder_.file("ca.pem")};
  platform::PosixFileSystem files_;
  std::string installDirectory_ = folder_.file("agents/antigravity");
  std::vector<std::string> notifications_;
};

TEST_F(AntigravityACPInstallerTest, InstallsThenFindsItUpToDateThenUpdatesInPlace) {
  publish("1.0.0", agentArchive("one"));
  std::vector<std::pair<uint64_t, std::optional<uint64_t>>> progress;
  const AntigravityACPInstallResult first = installer().install(
      [&](uint64_t received, std::optional<uint64_t> total) { progress.emplace_back(received, total); }, {});
  EXPECT_EQ(first.outcome, AntigravityACPInstallOutcome::kInstalled);
  EXPECT_EQ(installedFile("bin/agent"), "#!/bin/sh\necho one\n");
  ASSERT_FALSE(progress.empty());
  EXPECT_EQ(progress.back().first, progress.back().second.value_or(0));

  const auto recorded = installer().installation();
  ASSERT_TRUE(recorded);
  EXPECT_EQ(recorded->version, "1.0.0");
  EXPECT_EQ(recorded->command, "bin/agent");
  EXPECT_EQ(recorded->arguments, std::vector<std::string>{"--acp"});
  EXPECT_EQ(recorded->executablePath(), installDirectory_ + "/bin/agent");

  const size_t requestsBefore = registry_.requestedPaths().size();
  EXPECT_EQ(install().outcome, AntigravityACPInstallOutcome::kUpToDate);
  EXPECT_EQ(registry_.requestedPaths().size(), requestsBefore + 1) << "only the registry was asked";

  publish("2.0.0", makeTestArchive({{"agent2", Kind::kFile, "two", 0700}}),
          {.command = "agent2", .arguments = {}});
  const AntigravityACPInstallResult second = install();
  EXPECT_EQ(second.outcome, AntigravityACPInstallOutcome::kUpdated);
  EXPECT_EQ(installer().installation()->version, "2.0.0");
  EXPECT_EQ(installedFile("agent2"), "two");
  EXPECT_FALSE(fs::exists(installDirectory_ + "/bin")) << "nothing of the old install remains";
  EXPECT_EQ(leftovers(), std::vector<std::string>{});
  EXPECT_EQ(notifications_,
            (std::vector<std::string>(2, std::string(kAntigravityInstallationDidChangeNotification))));
}

TEST_F(AntigravityACPInstallerTest, EveryRefusalLeavesThePreviousInstall) {
  publish("1.0.0", agentArchive("one"));
  install();
  const std::string good = agentArchive("two");
  const std::string archiveURL = registry_.url("/archives/agent-2.0.0.tar.gz");
  const auto publishing = [this](std::string archive, FakeRegistryBinary binary = {}) {
    return [=, this] { publish("2.0.0", archive, binary); };
  };
  struct Case {
    const char* name;
    std::function<void()> serve;
    Code code;
    bool archiveRequested;
  };
  const std::vector<Case> cases{
      {"agent not listed",
       [&] { registry_.serveRegistry("another-agent", "2.0.0", {{.archiveURL = registry_.url("/a")}}); },
       Code::kAgentNotListed, false},
      {"registry is not JSON", [&] { registry_.serve(std::string(kACPRegistryPath), "<html>"); },
       Code::kAgentNotListed, false},
      {"no build for this platform", publishing(good, {.platformKey = "darwin-aarch64"}),
       Code::kUnsupportedPlatform, false},
      {"plain http archive", publishing(good, {.archiveURL = "http" + archiveURL.substr(5)}),
       Code::kUntrustedArchiveURL, false},
      {"archive on another host",
       publishing(good, {.archiveURL = "https://downloads.example.com/agent.tar.gz"}),
       Code::kUntrustedArchiveURL, false},
      {"archive missing", publishing(good, {.archiveURL = registry_.url("/archives/gone.tar.gz")}),
       Code::kDownloadFailed, true},
      {"tampered archive", publishing(agentArchive("evil"), {.sha256 = sha256(good)}),
       Code::kUntrustedSignature, true},
      {"zip-slip archive",
       publishing(
           makeTestArchive({{"bin/agent", Kind::kFile, "x", 0755}, {"../../escaped", Kind::kFile, "x"}})),
       Code::kExtractionFailed, true},
      {"command missing from the archive",
       publishing(makeTestArchive({{"bin/other", Kind::kFile, "x", 0755}})), Code::kInvalidCommand, true},
      {"command not executable", publishing(makeTestArchive({{"bin/agent", Kind::kFile, "x", 0644}})),
       Code::kInvalidCommand, true},
      {"command outside the folder", publishing(good, {.command = "../bin/agent"}), Code::kInvalidCommand,
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    c.serve();
    const size_t before = registry_.requestedPaths().size();
    try {
      install();
      ADD_FAILURE() << "installed";
    } catch (const AntigravityACPInstallerError& error) {
      EXPECT_EQ(error.code(), c.code) << error.description();
    }
    EXPECT_EQ(registry_.requestedPaths().size() - before, c.archiveRequested ? 2u : 1u);
    EXPECT_EQ(installer().installation()->version, "1.0.0");
    EXPECT_EQ(installedFile("bin/agent"), "#!/bin/sh\necho one\n");
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
    EXPECT_FALSE(fs::exists(folder_.file("escaped")));
  }
  EXPECT_EQ(notifications_.size(), 1u);
}

TEST_F(AntigravityACPInstallerTest, AVersionReservedWithOtherBytesIsRefusedByItsPin) {
  const std::string original = agentArchive("one");  // gzip stamps the time: made once
  publish("1.0.0", original);
  install();
  fs::remove_all(installDirectory_);  // removed by hand; the pin stays
  publish("1.0.0", agentArchive("swapped"));
  try {
    install();
    ADD_FAILURE() << "installed";
  } catch (const AntigravityACPInstallerError& error) {
    EXPECT_EQ(error.code(), Code::kUntrustedSignature);
    EXPECT_EQ(error.description(), "The Antigravity download is not signed by Google.");
  }
  EXPECT_FALSE(installer().installation());

  publish("1.0.0", original);
  EXPECT_EQ(install().outcome, AntigravityACPInstallOutcome::kInstalled);
}

TEST_F(AntigravityACPInstallerTest, LeftoversOfAKilledInstallAreSweptAndAPlainHttpRegistryRefused) {
  fs::create_directories(folder_.file("agents/antigravity.staging-abc123/bin"));
  std::ofstream(folder_.file("agents/antigravity.download-xyz")) << "partial";
  publish("1.0.0", agentArchive("one"));
  install();
  EXPECT_EQ(leftovers(), std::vector<std::string>{});

  AntigravityACPInstallerConfiguration configuration;
  configuration.registryURL = "http" + registry_.url(kACPRegistryPath).substr(5);
  configuration.installDirectory = installDirectory_;
  const size_t before = registry_.requestedPaths().size();
  EXPECT_THROW(AntigravityACPInstaller(transport_, files_, configuration).install({}, {}),
               AntigravityACPInstallerError);
  EXPECT_EQ(registry_.requestedPaths().size(), before);
}

TEST(AntigravityACPDownloadHosts, OnlyExactHttpsHostsPassAndLoopbackOnlyForALoopbackRegistry) {
  const std::vector<std::pair<std::string, std::optional<std::string>>> hosts{
      {"https://dl.google.com/antigravity/agent.tar.gz", "dl.google.com"},
      {"HTTPS://DL.Google.COM:443/a", "dl.google.com"},
      {"https://[::1]:8443/registry.json", "[::1]"},
      {"http://dl.google.com/a", std::nullopt},
      {"https://dl.google.com@evil.example/a", std::nullopt},
      {"https://evil.example%2f@dl.google.com/a", std::nullopt},
      {"https://dl.google.com\\@evil.example/a", std::nullopt},
      {"https://dl.google.com:443x/a", std::nullopt},
      {"https://dl.google.com /a", std::nullopt},
      {"https:///a", std::nullopt},
  };
  for (const auto& [url, host] : hosts) EXPECT_EQ(internal::httpsURLHost(url), host) << url;

  EXPECT_EQ(loopbackArchiveHosts(" 127.0.0.1,evil.example, LOCALHOST,127.0.0.1.evil.example,[::1],,"),
            (std::vector<std::string>{"127.0.0.1", "localhost", "[::1]"}));
  EXPECT_EQ(acpRegistryDocumentURL("https://127.0.0.1:9000/"),
            "https://127.0.0.1:9000/registry/v1/latest/registry.json");
  EXPECT_EQ(acpRegistryDocumentURL("https://mirror.example/r.json"), "https://mirror.example/r.json");
}

}  // namespace
}  // namespace zephyl::agents
