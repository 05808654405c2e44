// ChatSessionStore: every conversation of the assistant in one JSON file,
// "chat-sessions.json" in the data folder, written back after each change.
//
// Several Zephyl processes may share the file. A save takes an advisory lock,
// re-reads the file when it is no longer the version this process last read
// or wrote, applies only this process's own changes (sessions added or
// changed, sessions deleted) to what is there, and replaces the file
// atomically; so two processes never drop each other's sessions, and a kill at
// any moment leaves the old file or the new one. A file that cannot be decoded
// is set aside under a name with the time and the history starts empty: the
// user's history is never overwritten because of a bad byte.
//
// No failure reaches the caller: each is logged and the sessions stay in
// memory, to be written by the next save. One thread at a time.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "assistant/chat_history_retention.h"
#include "assistant/chat_session.h"
#include "assistant/chat_session_image_store.h"
#include "core/clock.h"
#include "core/file_lock.h"
#include "core/file_system.h"

namespace zephyl::assistant {

inline constexpr std::string_view kChatSessionsFileName = "chat-sessions.json";

class ChatSessionStore {
 public:
  // The file is `dataDirectory` + "/chat-sessions.json". Every collaborator
  // must outlive the store; `clock` names set-aside files.
  ChatSessionStore(std::string dataDirectory, core::FileSystem& files, core::FileLocker& locker,
                   core::Clock& clock, ChatSessionImageStore& images);

  // Reads the file (a missing file is an empty history). Returns false when it
  // could not be read or decoded; the history is then empty.
  bool load();

  // In the file's order.
  const std::vector<ChatSession>& sessions() const { return sessions_; }
  const ChatSession* find(const std::string& sessionID) const;

  // Each change below saves at once and returns whether the save succeeded;
  // the change stays in memory either way.

  // Adds the session, or replaces the stored one with the same id.
  bool put(ChatSession session);
  // Appends to an existing session; false (nothing saved) for an unknown id.
  bool appendMessage(const std::string& sessionID, ChatMessage message);
  bool rename(const std::string& sessionID, std::string title);
  bool setGeneratedTitle(const std::string& sessionID, std::string title);
  // Removes the message and its image files.
  bool removeMessage(const std::string& sessionID, const std::string& messageID);
  // Removes the sessions and their image folders; unknown ids are ignored.
  bool remove(const std::vector<std::string>& sessionIDs);
  // Removes the sessions that `retention` lets expire at `now`; returns how many.
  size_t applyRetention(ChatHistoryRetention retention, core::TimePoint now);

  // Writes the pending changes; what every change above calls.
  bool save();

  const std::string& path() const { return path_; }

 private:
  ChatSession* findMutable(const std::string& sessionID);
  // The sessions on disk. A file that does not decode is set aside, logged and
  // read as empty, with `intact` cleared. Throws when the file cannot be read.
  std::vector<ChatSession> readUnderLock(bool& intact);
  void setAside(const std::string& contents);
  void removeStaleTemporaryFiles();

  std::string path_;
  core::FileSystem& files_;
  core::FileLocker& locker_;
  core::Clock& clock_;
  ChatSessionImageStore& images_;
  std::vector<ChatSession> sessions_;
  std::set<std::string> changed_;  // ids put or changed here since the last save
  std::set<std::string> removed_;  // ids removed here since the last save
  // The file as this process last read or wrote it: when it is still the same
  // at the next save, nobody else wrote and reading it again is skipped.
  std::unique_ptr<core::FileVersion> knownVersion_;
  // A session's JSON text while it is unchanged: a piece of the file as read
  // (`owner` keeps it alive) or of its own encoding, written as it is.
  struct EncodedSession {
    std::shared_ptr<const core::FileView> owner;
    std::string_view text;
  };
  std::unordered_map<std::string, EncodedSession> encoded_;  // by session id
};

}  // namespace zephyl::assistant
