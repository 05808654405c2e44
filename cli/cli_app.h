// The `zephyl` command line, as a function so that tests run it in-process.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "core/app_directories.h"

namespace zephyl::cli {

inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

struct CliStreams {
  std::ostream& out;
  std::ostream& err;
  bool errIsTerminal = false;  // progress bars only on a terminal
  bool outIsTerminal = false;
  std::istream* in = nullptr;  // standard input; null reads nothing
  bool inIsTerminal = false;   // prompts only for a person typing
};

// Runs one command line (`arguments` without the program name) and returns the
// exit code: 0 success, 1 failure (message on `err`), 2 bad usage.
int runZephyl(const std::vector<std::string>& arguments, CliStreams streams,
              const core::EnvironmentLookup& environment);

}  // namespace zephyl::cli
