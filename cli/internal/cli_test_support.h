// Runs `zephyl` in-process for the command-line tests, and their common fixture.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "cli/cli_app.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli::testing {

struct CommandResult {
  int code;
  std::string out;
  std::string err;
};

// One command line with `environment` as the whole environment and `input` as
// standard input.
inline CommandResult runCommand(const std::vector<std::string>& arguments,
                                const std::map<std::string, std::string>& environment = {},
                                const std::string& input = "") {
  std::ostringstream out, err;
  std::istringstream in(input);
  auto lookup = [&environment](const std::string& name) -> std::optional<std::string> {
    const auto it = environment.find(name);
    if (it == environment.end()) return std::nullopt;
    return it->second;
  };
  const int code = runZephyl(arguments, CliStreams{out, err, false, false, &in}, lookup);
  return {code, out.str(), err.str()};
}

// The lines of a command's output; with a JSON type (core::JSONValue,
// nlohmann::json) as `Line`, each line parsed.
template <typename Line = std::string>
std::vector<Line> outputLines(const std::string& text) {
  std::vector<Line> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if constexpr (std::is_same_v<Line, std::string>) {
      lines.push_back(line);
    } else {
      lines.push_back(Line::parse(line));
    }
  }
  return lines;
}

// A fresh folder for the command's files, with HOME inside it; `leadingArguments_`
// go before every command line's own (--config-dir, --data-dir).
class CommandTest : public ::testing::Test {
 protected:
  CommandTest() {
    std::filesystem::create_directories(directory_ / "home");
    environment_["HOME"] = (directory_ / "home").string();
  }

  CommandResult run(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.insert(arguments.begin(), leadingArguments_.begin(), leadingArguments_.end());
    return runCommand(arguments, environment_, input);
  }

  std::string config() const { return (directory_ / "config").string(); }
  std::string data() const { return (directory_ / "data").string(); }

  platform::testing::TestFolder folder_;
  std::filesystem::path directory_ = folder_.path();
  std::map<std::string, std::string> environment_;
  std::vector<std::string> leadingArguments_;
};

}  // namespace zephyl::cli::testing
