#include "agents/acp_line_buffer.h"

#include <cstring>

namespace zephyl::agents {

std::vector<std::string> ACPLineBuffer::append(std::string_view chunk) {
  std::vector<std::string> lines;
  buffer.append(chunk);
  size_t lineStart = 0;
  size_t searchFrom = scanned;
  while (searchFrom < buffer.size()) {
    const void* found = std::memchr(buffer.data() + searchFrom, '\n', buffer.size() - searchFrom);
    if (found == nullptr) break;
    const size_t end = static_cast<const char*>(found) - buffer.data();
    if (end > lineStart) lines.emplace_back(buffer, lineStart, end - lineStart);
    lineStart = end + 1;
    searchFrom = lineStart;
  }
  // One erase per chunk, not per line, keeps many small frames linear.
  buffer.erase(0, lineStart);
  scanned = buffer.size();
  if (static_cast<int64_t>(buffer.size()) > maxLineBytes) {
    buffer.clear();
    buffer.shrink_to_fit();
    scanned = 0;
    overflowed = true;
  }
  return lines;
}

}  // namespace zephyl::agents
