// ChatStoredImage: a reference to one image file of ChatSessionImageStore.
#pragma once

#include <cstdint>
#include <string>

namespace zephyl::assistant {

enum class ChatImageSubtype { kPNG, kJPEG, kGIF, kWebP, kHEIC };

struct ChatStoredImage {
  ChatImageSubtype mimeSubtype = ChatImageSubtype::kPNG;
  std::string relativePath;  // below the session's image folder; "image-…"
  int64_t byteCount = 0;

  bool operator==(const ChatStoredImage&) const = default;
};

}  // namespace zephyl::assistant
