#include <unistd.h>

#include <iostream>

#include "cli/cli_app.h"
#include "core/logger.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  const auto environment = zephyl::core::processEnvironment();
  const auto logLevel = environment("ZEPHYL_LOG");
  zephyl::core::setLogConfiguration(zephyl::core::logConfigurationFromEnvironment(
      logLevel ? logLevel->c_str() : nullptr, zephyl::core::makeStandardErrorLogSink()));

  std::vector<std::string> arguments(argv + 1, argv + argc);
  zephyl::cli::CliStreams streams{std::cout,
                                  std::cerr,
                                  isatty(STDERR_FILENO) == 1,
                                  isatty(STDOUT_FILENO) == 1,
                                  &std::cin,
                                  isatty(STDIN_FILENO) == 1};
  const int code = zephyl::cli::runZephyl(arguments, streams, environment);
  std::cout.flush();
  return code;
}
