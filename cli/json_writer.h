// A streaming JSON writer for command output: large listings are written as
// they are produced, without building a document in memory. Keys keep the order
// in which they are written; invalid UTF-8 from the database becomes U+FFFD.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "core/apple_time.h"

namespace zephyl::cli {

class JsonWriter {
 public:
  // `indent` spaces per level; 0 writes everything on one line.
  explicit JsonWriter(std::ostream& out, int indent = 2) : out_(out), indent_(indent) {}

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();

  // The key of the next value inside an object.
  JsonWriter& key(std::string_view name);

  void value(std::string_view text);
  void value(const char* text) { value(std::string_view(text)); }
  void value(const std::string& text) { value(std::string_view(text)); }
  void value(int64_t number);
  void value(bool flag);
  void null();
  void value(const std::optional<std::string>& text);
  void value(const std::optional<int64_t>& number);
  // ISO 8601 text, or null.
  void time(const std::optional<core::TimePoint>& time);
  void stringArray(const std::vector<std::string>& items);

  // Ends the document with a line feed.
  void finish() { out_ << '\n'; }

 private:
  void beforeValue();
  void newline();

  std::ostream& out_;
  int indent_;
  // One entry per open container: true once it holds an element.
  std::vector<bool> nonEmpty_;
  bool afterKey_ = false;
};

// `text` as a JSON string literal, quotes included.
std::string jsonQuoted(std::string_view text);

}  // namespace zephyl::cli
