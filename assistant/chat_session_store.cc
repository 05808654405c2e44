#include "assistant/chat_session_store.h"

#include <algorithm>
#include <map>
#include <utility>

#include "assistant/chat_session_json.h"
#include "core/logger.h"

namespace zephyl::assistant {
namespace {

constexpr core::Logger kLog("ChatSessionStore");

}  // namespace

ChatSessionStore::ChatSessionStore(std::string dataDirectory, core::FileSystem& files,
                                   core::FileLocker& locker, core::Clock& clock,
                                   ChatSessionImageStore& images)
    : path_(std::move(dataDirectory) + "/" + std::string(kChatSessionsFileName)),
      files_(files),
      locker_(locker),
      clock_(clock),
      images_(images) {}

bool ChatSessionStore::load() {
  sessions_.clear();
  encoded_.clear();
  changed_.clear();
  removed_.clear();
  knownVersion_.reset();
  try {
    auto lock = locker_.lockExclusive(path_ + ".lock");
    removeStaleTemporaryFiles();
    bool intact = true;
    sessions_ = readUnderLock(intact);
    return intact;
  } catch (const std::exception& error) {
    kLog.error() << "Failed to load chat sessions path=" << path_ << ": " << error.what();
    return false;
  }
}

void ChatSessionStore::removeStaleTemporaryFiles() {
  // Every write happens under the lock, so a temporary file seen under it was
  // left by a writer that died.
  const std::string folder = path_.substr(0, path_.rfind('/'));
  const std::string prefix = std::string(kChatSessionsFileName) + ".tmp-";
  for (const std::string& name : files_.listDirectory(folder)) {
    if (name.starts_with(prefix)) files_.removeFile(folder + "/" + name);
  }
}

std::vector<ChatSession> ChatSessionStore::readUnderLock(bool& intact) {
  // Read, not mapped: the kept session texts must not change if another
  // program rewrote the file in place.
  std::optional<std::string> contents = files_.readFile(path_);
  if (!contents) return {};
  const auto file = std::make_shared<const core::StringFileView>(std::move(*contents));
  try {
    // Each session's text as it stands in the file serves until it changes,
    // so the first save after a load encodes no more than later ones.
    std::vector<ChatSession> sessions;
    std::unordered_map<std::string, EncodedSession> encoded;
    forEachChatSession(file->bytes(), [&](ChatSession session, std::string_view text) {
      encoded.emplace(session.id, EncodedSession{file, text});
      sessions.push_back(std::move(session));
    });
    knownVersion_ = files_.fileVersion(path_);
    encoded_ = std::move(encoded);
    return sessions;
  } catch (const std::exception& error) {
    kLog.error() << "Failed to load chat sessions path=" << path_ << ": " << error.what();
    setAside(std::string(file->bytes()));
    knownVersion_.reset();
    intact = false;
    return {};
  }
}

void ChatSessionStore::setAside(const std::string& contents) {
  std::string stamp =
      core::formatIso8601(core::TimePoint(std::chrono::floor<std::chrono::seconds>(clock_.now())));
  std::replace(stamp.begin(), stamp.end(), ':', '-');
  std::string aside = path_ + ".corrupt-" + stamp;
  for (int n = 2; files_.fileExists(aside); ++n)
    aside = path_ + ".corrupt-" + stamp + "-" + std::to_string(n);
  // Copied with a flush before the original goes, so a crash in between keeps
  // at least one of them.
  files_.writeFileAtomically(aside, contents);
  files_.removeFile(path_);
  kLog.error() << "Set the unreadable chat history aside as " << aside;
}

const ChatSession* ChatSessionStore::find(const std::string& sessionID) const {
  auto it = std::find_if(sessions_.begin(), sessions_.end(),
                         [&](const ChatSession& session) { return session.id == sessionID; });
  return it == sessions_.end() ? nullptr : &*it;
}

ChatSession* ChatSessionStore::findMutable(const std::string& sessionID) {
  return const_cast<ChatSession*>(find(sessionID));
}

bool ChatSessionStore::put(ChatSession session) {
  const std::string id = session.id;
  if (ChatSession* existing = findMutable(id)) {
    *existing = std::move(session);
  } else {
    sessions_.push_back(std::move(session));
  }
  changed_.insert(id);
  removed_.erase(id);
  return save();
}

bool ChatSessionStore::appendMessage(const std::string& sessionID, ChatMessage message) {
  ChatSession* session = findMutable(sessionID);
  if (!session) return false;
  session->messages.push_back(std::move(message));
  changed_.insert(sessionID);
  return save();
}

bool ChatSessionStore::rename(const std::string& sessionID, std::string title) {
  ChatSession* session = findMutable(sessionID);
  if (!session) return false;
  session->title = std::move(title);
  changed_.insert(sessionID);
  return save();
}

bool ChatSessionStore::setGeneratedTitle(const std::string& sessionID, std::string title) {
  ChatSession* session = findMutable(sessionID);
  if (!session) return false;
  session->generatedTitle = std::move(title);
  changed_.insert(sessionID);
  return save();
}

bool ChatSessionStore::removeMessage(const std::string& sessionID, const std::string& messageID) {
  ChatSession* session = findMutable(sessionID);
  if (!session) return false;
  auto& messages = session->messages;
  auto it =
      std::find_if(messages.begin(), messages.end(), [&](const ChatMessage& m) { return m.id == messageID; });
  if (it == messages.end()) return false;
  images_.remove(sessionID, it->imageAttachments);
  messages.erase(it);
  changed_.insert(sessionID);
  return save();
}

bool ChatSessionStore::remove(const std::vector<std::string>& sessionIDs) {
  for (const std::string& id : sessionIDs) {
    std::erase_if(sessions_, [&](const ChatSession& session) { return session.id == id; });
    changed_.erase(id);
    removed_.insert(id);
    images_.removeSession(id);
  }
  return save();
}

size_t ChatSessionStore::applyRetention(ChatHistoryRetention retention, core::TimePoint now) {
  const std::vector<std::string> expired = expiredChatSessionIDs(sessions_, retention, now);
  if (!expired.empty()) remove(expired);
  return expired.size();
}

bool ChatSessionStore::save() {
  try {
    auto lock = locker_.lockExclusive(path_ + ".lock");
    // When the file is still what this process last read or wrote, memory
    // already holds it; otherwise merge this process's changes into it.
    const std::unique_ptr<core::FileVersion> current = files_.fileVersion(path_);
    if (!current || !knownVersion_ || !knownVersion_->sameAs(*current)) {
      bool intact = true;
      knownVersion_.reset();
      encoded_.clear();
      std::vector<ChatSession> merged = readUnderLock(intact);
      std::erase_if(merged, [&](const ChatSession& session) { return removed_.contains(session.id); });
      std::map<std::string, size_t> position;
      for (size_t i = 0; i < merged.size(); ++i) position[merged[i].id] = i;
      for (ChatSession& session : sessions_) {
        if (!changed_.contains(session.id)) continue;
        if (auto it = position.find(session.id); it != position.end()) {
          merged[it->second] = std::move(session);
        } else {
          merged.push_back(std::move(session));
        }
      }
      sessions_ = std::move(merged);
    }
    for (const std::string& id : changed_) encoded_.erase(id);
    for (const std::string& id : removed_) encoded_.erase(id);
    // Each session's text is kept, so a save encodes only what changed, and
    // the file is written from those texts where they lie.
    std::vector<std::string_view> pieces;
    pieces.reserve(2 * sessions_.size() + 2);
    pieces.push_back("[");
    for (const ChatSession& session : sessions_) {
      auto it = encoded_.find(session.id);
      if (it == encoded_.end()) {
        auto owner = std::make_shared<const core::StringFileView>(encodeChatSession(session).serialized());
        const std::string_view json = owner->bytes();
        it = encoded_.emplace(session.id, EncodedSession{std::move(owner), json}).first;
      }
      if (pieces.size() > 1) pieces.push_back(",");
      pieces.push_back(it->second.text);
    }
    pieces.push_back("]");
    knownVersion_.reset();
    files_.writePiecesAtomically(path_, pieces);
    knownVersion_ = files_.fileVersion(path_);
    changed_.clear();
    removed_.clear();
    return true;
  } catch (const std::exception& error) {
    kLog.error() << "Failed to persist chat sessions: " << error.what();
    return false;
  }
}

}  // namespace zephyl::assistant
