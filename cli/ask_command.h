// One assistant turn as `zephyl ask` runs it, for the commands that answer
// through the assistant too (`zephyl agent ask`): the question composed with
// notes and preferences, streamed through the model's provider, stored in the
// chat history, its usage in the usage store.
#pragma once

#include <string>
#include <vector>

#include "cli/cli_context.h"

namespace zephyl::cli {

struct AskOptions {
  std::string question;  // empty or "-": standard input
  std::string note;
  std::vector<std::string> mentions;
  std::string model;
  std::string effort;
  std::string web = "off";
  std::vector<std::string> attachments;
  std::string chat;
  bool newChat = false;
  bool json = false;
  bool dryRun = false;
  std::string baseURL;
};

// Throws CliUsageError, CliFailure, or core::CancellationError after Ctrl-C.
void runAsk(CliContext& context, const AskOptions& options);

}  // namespace zephyl::cli
