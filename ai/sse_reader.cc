#include "ai/sse_reader.h"

#include <cstring>

#include "core/utf8.h"

namespace zephyl::ai {
namespace {

bool isBlank(std::string_view line) { return line.find_first_not_of(" \t") == std::string_view::npos; }

std::string joinLines(const std::vector<std::string>& lines) {
  size_t size = lines.empty() ? 0 : lines.size() - 1;
  for (const auto& line : lines) size += line.size();
  std::string joined;
  joined.reserve(size);
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) joined += '\n';
    joined += lines[i];
  }
  return joined;
}

}  // namespace

std::vector<SSEEvent> SSEReader::feed(std::string_view bytes) {
  std::vector<SSEEvent> events;
  pending_.append(bytes);
  // Only the new bytes are searched: a long line arriving in many chunks is
  // never rescanned from its start.
  while (scanned_ < pending_.size()) {
    const void* found = std::memchr(pending_.data() + scanned_, '\n', pending_.size() - scanned_);
    if (found == nullptr) {
      scanned_ = pending_.size();
      break;
    }
    const size_t end = static_cast<size_t>(static_cast<const char*>(found) - pending_.data());
    takeLine(end, events);
    lineStart_ = end + 1;
    scanned_ = end + 1;
  }
  // What stays is at most the tail of this chunk, so the copy keeps feed linear.
  if (lineStart_ > 0) {
    pending_.erase(0, lineStart_);
    scanned_ -= lineStart_;
    lineStart_ = 0;
  }
  return events;
}

void SSEReader::takeLine(size_t end, std::vector<SSEEvent>& events) {
  size_t lineEnd = end;
  if (lineEnd > lineStart_ && pending_[lineEnd - 1] == '\r') --lineEnd;
  const std::string line =
      core::replaceInvalidUtf8(std::string_view(pending_).substr(lineStart_, lineEnd - lineStart_));
  if (auto event = parse(line)) events.push_back(std::move(*event));
}

std::vector<SSEEvent> SSEReader::finish() {
  std::vector<SSEEvent> events;
  if (lineStart_ < pending_.size()) {
    // No line feed follows, so a carriage return at the end is part of the line.
    const std::string line = core::replaceInvalidUtf8(std::string_view(pending_).substr(lineStart_));
    if (auto event = parse(line)) events.push_back(std::move(*event));
  }
  if (auto event = flushData()) events.push_back(std::move(*event));
  pending_.clear();
  lineStart_ = 0;
  scanned_ = 0;
  name_.reset();
  dataLines_.clear();
  return events;
}

std::optional<SSEEvent> SSEReader::flushData() {
  if (dataLines_.empty()) return std::nullopt;
  SSEEvent event{name_, joinLines(dataLines_)};
  dataLines_.clear();
  return event;
}

std::optional<SSEEvent> SSEReader::parse(std::string_view line) {
  if (isBlank(line)) {
    auto event = flushData();
    name_.reset();
    return event;
  }
  if (line.front() == ':') return std::nullopt;

  const size_t colon = line.find(':');
  const std::string_view field = line.substr(0, colon);
  std::string_view value;
  if (colon != std::string_view::npos) {
    value = line.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
  }

  if (field == "event") {
    // A new name ends the event being built even without a blank line before it.
    auto event = flushData();
    name_ = std::string(value);
    return event;
  }
  if (field == "data") dataLines_.emplace_back(value);
  return std::nullopt;
}

}  // namespace zephyl::ai
