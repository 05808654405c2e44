#include "assistant/chat_session_image_store.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "assistant/chat_session_json.h"
#include "core/logger.h"

namespace zephyl::assistant {
namespace {

constexpr core::Logger kLog("ChatSessionImageStore");

// Names come from the history file, which a user may edit: only plain names
// may become paths, so nothing is written or deleted outside the root.
bool isPlainName(const std::string& name) {
  if (name.empty() || name.size() > 128) return false;
  return std::all_of(name.begin(), name.end(),
                     [](char c) {
                       return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                              c == '-' || c == '_' || c == '.';
                     }) &&
         name.find("..") == std::string::npos;
}

std::string_view failureText(ChatSessionImageStore::Purpose purpose) {
  switch (purpose) {
    case ChatSessionImageStore::Purpose::kSessionImages:
      return "Failed to save session images: ";
    case ChatSessionImageStore::Purpose::kMessageNoteImages:
      return "Failed to save message note images: ";
    case ChatSessionImageStore::Purpose::kGeneratedImage:
      return "Failed to save generated chat image: ";
  }
  return {};
}

}  // namespace

std::optional<ChatImageSubtype> chatImageSubtype(std::string_view mimeType) {
  if (mimeType == "image/png") return ChatImageSubtype::kPNG;
  if (mimeType == "image/jpeg" || mimeType == "image/jpg") return ChatImageSubtype::kJPEG;
  if (mimeType == "image/gif") return ChatImageSubtype::kGIF;
  if (mimeType == "image/webp") return ChatImageSubtype::kWebP;
  if (mimeType == "image/heic") return ChatImageSubtype::kHEIC;
  return std::nullopt;
}

std::string chatImageMimeType(ChatImageSubtype subtype) {
  switch (subtype) {
    case ChatImageSubtype::kPNG:
      return "image/png";
    case ChatImageSubtype::kJPEG:
      return "image/jpeg";
    case ChatImageSubtype::kGIF:
      return "image/gif";
    case ChatImageSubtype::kWebP:
      return "image/webp";
    case ChatImageSubtype::kHEIC:
      return "image/heic";
  }
  return "image/png";
}

ChatSessionImageStore::ChatSessionImageStore(std::string rootDirectory, core::FileSystem& files,
                                             std::function<std::string()> newIdentifier)
    : root_(std::move(rootDirectory)), files_(files), newIdentifier_(std::move(newIdentifier)) {}

std::string ChatSessionImageStore::folder(const std::string& sessionID) const {
  return isPlainName(sessionID) ? root_ + "/" + sessionID : std::string();
}

std::string ChatSessionImageStore::pathOf(const std::string& sessionID, const ChatStoredImage& image) const {
  const std::string directory = folder(sessionID);
  if (directory.empty() || !isPlainName(image.relativePath) || !image.relativePath.starts_with("image-"))
    return {};
  return directory + "/" + image.relativePath;
}

std::vector<ChatStoredImage> ChatSessionImageStore::save(const std::string& sessionID,
                                                         const std::vector<ChatImageData>& images,
                                                         Purpose purpose) {
  if (images.empty()) return {};
  if (folder(sessionID).empty()) {
    kLog.error() << "Failed to prepare chat attachment directory: "
                 << "invalid session id " << sessionID;
    return {};
  }
  std::vector<ChatStoredImage> saved;
  int64_t bytes = 0;
  {
    std::lock_guard lock(mutex_);
    try {
      for (const ChatImageData& image : images) {
        ChatStoredImage reference{image.subtype,
                                  "image-" + newIdentifier_() + "." + std::string(rawValue(image.subtype)),
                                  static_cast<int64_t>(image.bytes.size())};
        files_.writeFileAtomically(pathOf(sessionID, reference), image.bytes);
        bytes += reference.byteCount;
        saved.push_back(std::move(reference));
      }
    } catch (const std::exception& error) {
      kLog.error() << failureText(purpose) << error.what();
      for (const ChatStoredImage& reference : saved) {
        try {
          files_.removeFile(pathOf(sessionID, reference));
        } catch (const std::exception&) {
        }
      }
      return {};
    }
  }
  kLog.info() << "Saved session images session=" << sessionID << " count=" << saved.size()
              << " bytes=" << bytes;
  return saved;
}

std::optional<std::string> ChatSessionImageStore::read(const std::string& sessionID,
                                                       const ChatStoredImage& image) {
  const std::string path = pathOf(sessionID, image);
  if (path.empty()) return std::nullopt;
  std::lock_guard lock(mutex_);
  try {
    return files_.readFile(path);
  } catch (const std::exception& error) {
    kLog.error() << "Failed to read chat image: " << error.what();
    return std::nullopt;
  }
}

void ChatSessionImageStore::remove(const std::string& sessionID, const std::vector<ChatStoredImage>& images) {
  std::lock_guard lock(mutex_);
  for (const ChatStoredImage& image : images) {
    const std::string path = pathOf(sessionID, image);
    if (path.empty()) continue;
    try {
      files_.removeFile(path);
    } catch (const std::exception& error) {
      kLog.error() << "Failed to delete chat message artifacts: " << error.what();
    }
  }
}

void ChatSessionImageStore::removeSession(const std::string& sessionID) {
  const std::string directory = folder(sessionID);
  if (directory.empty()) return;
  std::lock_guard lock(mutex_);
  try {
    for (const std::string& name : files_.listDirectory(directory)) files_.removeFile(directory + "/" + name);
  } catch (const std::exception& failure) {
    kLog.error() << "Failed to delete chat message artifacts: " << failure.what();
    return;
  }
  // The file system interface removes files only; the emptied folder goes here.
  std::error_code ignored;
  std::filesystem::remove(directory, ignored);
}

}  // namespace zephyl::assistant
