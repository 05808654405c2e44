// Attachments as services take them inline: a data URL of the bytes.
#pragma once

#include <string>
#include <string_view>

#include "core/base64.h"

namespace zephyl::ai {

// "data:" + media type + ";base64," + the bytes in base64; an unknown media
// type is sent as "application/octet-stream".
inline std::string attachmentDataURL(std::string_view mediaType, std::string_view bytes) {
  return "data:" + std::string(mediaType.empty() ? "application/octet-stream" : mediaType) + ";base64," +
         core::base64Encode(bytes);
}

}  // namespace zephyl::ai
