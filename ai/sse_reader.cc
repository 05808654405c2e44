#include "ai/sse_reader.h"

#include <algorithm>
#include <cstring>

#include "core/utf8.h"

namespace zephyl::ai {
namespace {

bool isBlank(std::string_view line) { return line.find_first_not_of(" \t") == std::string_view::npos; }

}  // namespace

std::vector<SSEEvent> SSEReader::feed(std::string_view bytes) {
  std::vector<SSEEvent> events;
  // Streamed events rarely take fewer than 64 bytes ("data: {...}" and a blank
  // line): room for as many spares the vector's regrowth for small events.
  events.reserve(std::min<size_t>(bytes.size() / 64, 1024));
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
  takeField(line, events);
}

std::vector<SSEEvent> SSEReader::finish() {
  std::vector<SSEEvent> events;
  // No line feed follows, so a carriage return at the end is part of the line.
  if (!pending_.empty()) takeField(pending_, events);
  flushData(events);
  pending_.clear();
  name_.reset();
  return events;
}

void SSEReader::flushData(std::vector<SSEEvent>& events) {
  if (!hasData_) return;
  // Every caller drops or replaces the name next, so it moves with the data.
  events.push_back(SSEEvent{std::move(name_), std::move(data_)});
  name_.reset();
  data_.clear();
  hasData_ = false;
}

std::optional<SSEEvent> SSEReader::parse(std::string_view line) {
  std::vector<SSEEvent> events;
  takeField(line, events);
  if (events.empty()) return std::nullopt;
  return std::move(events.front());
}

void SSEReader::takeField(std::string_view line, std::vector<SSEEvent>& events) {
  if ((line.empty() || line.front() == ' ' || line.front() == '\t') && isBlank(line)) {
    flushData(events);
    name_.reset();
    return;
  }
  if (line.front() == ':') return;

  const size_t colon = line.find(':');
  const std::string_view field = line.substr(0, colon);
  std::string_view value;
  if (colon != std::string_view::npos) {
    value = line.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
  }

  // Only the values kept are checked for ill-formed UTF-8: repairing the rest of
  // the line could not change what it means, since a repair never touches an
  // ASCII byte such as the colon.
  if (field == "event") {
    // A new name ends the event being built even without a blank line before it.
    flushData(events);
    name_ = core::isValidUtf8(value) ? std::string(value) : core::replaceInvalidUtf8(value);
    return;
  }
  if (field == "data") {
    if (hasData_) data_ += '\n';
    if (core::isValidUtf8(value)) {
      data_.append(value);
    } else {
      data_ += core::replaceInvalidUtf8(value);
    }
    hasData_ = true;
  }
}

}  // namespace zephyl::ai
