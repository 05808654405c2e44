#include "agents/acp_line_buffer.h"

#include <cstring>
#include <utility>

namespace zephyl::agents {

std::vector<std::string_view> ACPLineBuffer::append(std::string_view chunk) {
  buffer.append(chunk);
  std::vector<std::pair<size_t, size_t>> spans;
  size_t lineStart = 0;
  size_t searchFrom = scanned;
  while (searchFrom < buffer.size()) {
    const void* found = std::memchr(buffer.data() + searchFrom, '\n', buffer.size() - searchFrom);
    if (found == nullptr) break;
    const size_t end = static_cast<const char*>(found) - buffer.data();
    if (end > lineStart) spans.emplace_back(lineStart, end - lineStart);
    lineStart = end + 1;
    searchFrom = lineStart;
  }
  std::vector<std::string_view> lines;
  if (lineStart > 0) {
    // The complete lines move out whole; only the remainder is copied, into the
    // storage the previous lines used.
    std::swap(taken, buffer);
    buffer.assign(taken, lineStart);
    lines.reserve(spans.size());
    for (const auto& [start, length] : spans) lines.emplace_back(taken.data() + start, length);
  }
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
