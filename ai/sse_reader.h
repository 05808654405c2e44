// Server-sent events: turns the raw bytes of a streamed response body into
// events (an optional name and the data text), knowing nothing of any service.
//
// Bytes are split only at line feeds, so a UTF-8 character or a CR LF pair split
// across two chunks is decoded whole. The reader is linear in its input: each
// byte is scanned for a line feed once, however long the line it belongs to.
// Lines that lie wholly inside a chunk are read in place; only an unterminated
// remainder is kept, and each event's data is copied once, into the event.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::ai {

struct SSEEvent {
  std::optional<std::string> event;  // the last "event" field before the data
  std::string data;                  // the data lines joined with "\n"

  bool operator==(const SSEEvent&) const = default;
};

// One reader per response body; not thread-safe (one consumer feeds it).
class SSEReader {
 public:
  // Takes the next chunk of the body; returns the events it completed, in order.
  std::vector<SSEEvent> feed(std::string_view bytes);

  // Called once when the body ends: the events the remaining state completes.
  // The reader is empty afterwards and may read a new body.
  std::vector<SSEEvent> finish();

  // The line step on one line without its line feed; also usable on its own.
  // Ill-formed UTF-8 in a kept value reads as U+FFFD. Returns the event the
  // line completes, if any.
  std::optional<SSEEvent> parse(std::string_view line);

 private:
  // `line` still holds its carriage return, if any.
  void takeLine(std::string_view line, std::vector<SSEEvent>& events);
  // The line step; a completed event goes straight into `events`.
  void takeField(std::string_view line, std::vector<SSEEvent>& events);
  void flushData(std::vector<SSEEvent>& events);

  std::string pending_;  // the unterminated line after the last line feed
  std::optional<std::string> name_;
  std::string data_;      // the data lines so far, joined with "\n"
  bool hasData_ = false;  // a data line was read (it may have been empty)
};

}  // namespace zephyl::ai
