// ChatSessionImageStore: the images of conversations (note images, generated
// and attached images) as files beside the history, one folder per session,
// each file named "image-" + a fresh identifier + its extension. Messages and
// sessions keep ChatStoredImage references to them; deleting a message or a
// session deletes its files.
//
// Failures are logged and never thrown: a conversation goes on without the
// image. Every file access runs under one lock, so calls from several threads
// take turns, as on a serial queue.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "assistant/chat_stored_image.h"
#include "core/file_system.h"

namespace zephyl::assistant {

// The folder of every session's image folder, inside the data folder.
inline constexpr std::string_view kChatSessionImagesFolderName = "chat-session-images";

// Image bytes as a turn hands them over.
struct ChatImageData {
  ChatImageSubtype subtype = ChatImageSubtype::kPNG;
  std::string bytes;
};

// The subtype for a MIME type such as "image/jpeg" or "image/jpg"; nullopt for
// a type the store does not keep.
std::optional<ChatImageSubtype> chatImageSubtype(std::string_view mimeType);
// "image/png" and so on: the MIME type the subtype is sent with.
std::string chatImageMimeType(ChatImageSubtype subtype);

class ChatSessionImageStore {
 public:
  // Folders go below `rootDirectory`; `newIdentifier` names each file (a UUID
  // in production, a counter in tests). `files` must outlive the store.
  ChatSessionImageStore(std::string rootDirectory, core::FileSystem& files,
                        std::function<std::string()> newIdentifier);

  // Writes the images of a turn; returns the references of those written, in
  // order, or none when any write failed (the ones written are removed again).
  // `purpose` picks the failure's log text.
  enum class Purpose { kSessionImages, kMessageNoteImages, kGeneratedImage };
  std::vector<ChatStoredImage> save(const std::string& sessionID, const std::vector<ChatImageData>& images,
                                    Purpose purpose = Purpose::kSessionImages);

  // The bytes of a stored image; nullopt when it is gone or unreadable.
  std::optional<std::string> read(const std::string& sessionID, const ChatStoredImage& image);

  // Removes the files of one message. Logs and goes on when one cannot go.
  void remove(const std::string& sessionID, const std::vector<ChatStoredImage>& images);

  // Removes the session's whole folder.
  void removeSession(const std::string& sessionID);

  // The session's folder; empty for an identifier that could leave the root.
  std::string folder(const std::string& sessionID) const;

 private:
  std::string pathOf(const std::string& sessionID, const ChatStoredImage& image) const;

  std::string root_;
  core::FileSystem& files_;
  std::mutex mutex_;  // serialises every file access and newIdentifier_
  std::function<std::string()> newIdentifier_;
};

}  // namespace zephyl::assistant
