// Runs `zephyl` in-process for the command-line tests.
#pragma once

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_app.h"

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

}  // namespace zephyl::cli::testing
