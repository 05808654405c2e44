// The JSON form of the chat history file: a list of ChatSession objects with
// the member names of the stored format and ISO 8601 dates. Optional members
// that are absent are left out; lists are always written.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "assistant/chat_session.h"
#include "core/error.h"
#include "core/json_value.h"

namespace zephyl::assistant {

class ChatSessionDecodingError : public core::Error {
 public:
  // `detail` names the member and what was wrong, for the log.
  explicit ChatSessionDecodingError(std::string detail)
      : Error("The chat history could not be decoded: " + detail) {}
};

core::JSONValue encodeChatSession(const ChatSession& session);
// Throws ChatSessionDecodingError when a member has the wrong type, a required
// one is missing, or a date or enumeration value is not one this version
// reads; an unknown message role is kept as kLegacy instead.
ChatSession decodeChatSession(const core::JSONValue& json);

// The whole file. Throws core::JSONValueError or ChatSessionDecodingError.
std::string encodeChatSessions(const std::vector<ChatSession>& sessions);
std::vector<ChatSession> decodeChatSessions(std::string_view text);
// Decodes the file one session at a time, handing each over with its text as
// it stands in the file; throws as decodeChatSessions, possibly after some
// sessions were handed over.
void forEachChatSession(std::string_view text,
                        const std::function<void(ChatSession, std::string_view)>& visit);

// One stored turn input ({request, skills, references, defaultPreferences,
// customPreferences}). Throws ChatSessionDecodingError.
ChatTurnInput decodeChatTurnInput(const core::JSONValue& json);
// Raw values shared with the command line.
std::string_view rawValue(ChatMessageRole role);
std::optional<ChatMessageRole> chatMessageRoleFromRawValue(std::string_view text);
std::string_view rawValue(ChatImageSubtype subtype);

}  // namespace zephyl::assistant
