#include "agents/acp_line_buffer.h"

#include <cstring>
#include <utility>

namespace zephyl::agents {
namespace {

// The offset of the next line feed in `text` from `from`, or npos.
size_t lineFeedFrom(std::string_view text, size_t from) {
  const void* found = std::memchr(text.data() + from, '\n', text.size() - from);
  return found == nullptr ? std::string_view::npos : static_cast<const char*>(found) - text.data();
}

}  // namespace

const std::vector<std::string_view>& ACPLineBuffer::append(std::string_view chunk) {
  lines.clear();
  size_t at = 0;
  if (!buffer.empty()) {
    // The remainder holds no line feed, so only the chunk is searched.
    const size_t end = lineFeedFrom(chunk, 0);
    if (end == std::string_view::npos) {
      at = chunk.size();
      buffer.append(chunk);
    } else {
      buffer.append(chunk.data(), end);
      // The completed line moves out whole; the next remainder reuses the
      // storage the previous completed line had.
      std::swap(taken, buffer);
      buffer.clear();
      lines.emplace_back(taken);
      at = end + 1;
    }
  }
  while (at < chunk.size()) {
    const size_t end = lineFeedFrom(chunk, at);
    if (end == std::string_view::npos) {
      buffer.append(chunk.data() + at, chunk.size() - at);
      break;
    }
    if (end > at) lines.emplace_back(chunk.data() + at, end - at);
    at = end + 1;
  }
  if (static_cast<int64_t>(buffer.size()) > maxLineBytes) {
    buffer.clear();
    buffer.shrink_to_fit();
    overflowed = true;
  }
  return lines;
}

}  // namespace zephyl::agents
