// ChatHistory: the chat session store of the data folder with its image store,
// opened for one command. Retention is applied on opening, as the application
// does at start.
#pragma once

#include <string>

#include "assistant/chat_session_image_store.h"
#include "assistant/chat_session_store.h"
#include "cli/cli_context.h"
#include "editor/uuid_generator.h"

namespace zephyl::cli {

class ChatHistory {
 public:
  explicit ChatHistory(CliContext& context);

  assistant::ChatSessionStore& store() { return store_; }
  assistant::ChatSessionImageStore& images() { return images_; }
  std::string makeID() { return uuids_.makeUuid(); }

  // The session named by its id or an unambiguous start of it (four
  // characters or more). Throws CliUsageError when there is none.
  const assistant::ChatSession& resolve(const std::string& reference);

 private:
  editor::RandomUuidGenerator uuids_;
  assistant::ChatSessionImageStore images_;
  assistant::ChatSessionStore store_;
};

}  // namespace zephyl::cli
