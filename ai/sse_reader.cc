#include "ai/sse_reader.h"

#include <cstring>

#include "core/utf8.h"

namespace zephyl::ai {
namespace {

bool isBlank(std::string_view line) { return line.find_first_not_of(" \t") == std::string_view::npos; }

}  // namespace

std::vector<SSEEvent> SSEReader::feed(std::string_view bytes) {
  std::vector<SSEEvent> events;
  size_t at = 0;
  // Each byte is searched once: a line begun in an earlier chunk is only
  // extended here until its line feed arrives.
  while (at < bytes.size()) {
    const void* found = std::memchr(bytes.data() + at, '\n', bytes.size() - at);
    if (found == nullptr) break;
    const size_t end = static_cast<size_t>(static_cast<const char*>(found) - bytes.data());
    if (pending_.empty()) {
      takeLine(bytes.substr(at, end - at), events);
    } else {
      pending_.append(bytes.substr(at, end - at));
      takeLine(pending_, events);
      pending_.clear();
    }
    at = end + 1;
  }
  pending_.append(bytes.substr(at));
  return events;
}

void SSEReader::takeLine(std::string_view line, std::vector<SSEEvent>& events) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  std::optional<SSEEvent> event;
  if (core::isValidUtf8(line)) {
    event = parse(line);
  } else {
    event = parse(core::replaceInvalidUtf8(line));
  }
  if (event) events.push_back(std::move(*event));
}

std::vector<SSEEvent> SSEReader::finish() {
  std::vector<SSEEvent> events;
  if (!pending_.empty()) {
    // No line feed follows, so a carriage return at the end is part of the line.
    auto event = parse(core::replaceInvalidUtf8(pending_));
    if (event) events.push_back(std::move(*event));
  }
  if (auto event = flushData()) events.push_back(std::move(*event));
  pending_.clear();
  name_.reset();
  data_.clear();
  hasData_ = false;
  return events;
}

std::optional<SSEEvent> SSEReader::flushData() {
  if (!hasData_) return std::nullopt;
  // Every caller drops or replaces the name next, so it moves with the data.
  SSEEvent event{std::move(name_), std::move(data_)};
  name_.reset();
  data_.clear();
  hasData_ = false;
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
  if (field == "data") {
    if (hasData_) data_ += '\n';
    data_.append(value);
    hasData_ = true;
  }
  return std::nullopt;
}

}  // namespace zephyl::ai
