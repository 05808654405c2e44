#include "cli/json_writer.h"

#include "core/utf8.h"

namespace zephyl::cli {
namespace {

void appendQuoted(std::string& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  size_t i = 0;
  while (i < text.size()) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\') {
      // Copy the run of plain ASCII at once.
      size_t end = i + 1;
      while (end < text.size()) {
        const auto d = static_cast<unsigned char>(text[end]);
        if (d < 0x20 || d >= 0x80 || d == '"' || d == '\\') break;
        ++end;
      }
      out.append(text.substr(i, end - i));
      i = end;
      continue;
    }
    switch (c) {
      case '"':
        out += "\\\"";
        ++i;
        continue;
      case '\\':
        out += "\\\\";
        ++i;
        continue;
      case '\n':
        out += "\\n";
        ++i;
        continue;
      case '\r':
        out += "\\r";
        ++i;
        continue;
      case '\t':
        out += "\\t";
        ++i;
        continue;
      case '\b':
        out += "\\b";
        ++i;
        continue;
      case '\f':
        out += "\\f";
        ++i;
        continue;
      default:
        break;
    }
    if (c < 0x20) {
      out += "\\u00";
      out += kHex[c >> 4];
      out += kHex[c & 0xF];
      ++i;
      continue;
    }
    const size_t length = core::validSequenceLength(text, i);
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      ++i;
    } else {
      out.append(text.substr(i, length));
      i += length;
    }
  }
  out += '"';
}

}  // namespace

std::string jsonQuoted(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 2);
  appendQuoted(out, text);
  return out;
}

void JsonWriter::newline() {
  if (indent_ == 0) return;
  out_ << '\n';
  for (size_t level = 0; level < nonEmpty_.size(); ++level) {
    for (int k = 0; k < indent_; ++k) out_ << ' ';
  }
}

void JsonWriter::beforeValue() {
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  if (nonEmpty_.empty()) return;
  if (nonEmpty_.back()) out_ << ',';
  nonEmpty_.back() = true;
  newline();
}

JsonWriter& JsonWriter::key(std::string_view name) {
  beforeValue();
  std::string text;
  appendQuoted(text, name);
  out_ << text << (indent_ == 0 ? ":" : ": ");
  afterKey_ = true;
  return *this;
}

void JsonWriter::beginObject() {
  beforeValue();
  out_ << '{';
  nonEmpty_.push_back(false);
}

void JsonWriter::endObject() {
  const bool hadElements = nonEmpty_.back();
  nonEmpty_.pop_back();
  if (hadElements) newline();
  out_ << '}';
}

void JsonWriter::beginArray() {
  beforeValue();
  out_ << '[';
  nonEmpty_.push_back(false);
}

void JsonWriter::endArray() {
  const bool hadElements = nonEmpty_.back();
  nonEmpty_.pop_back();
  if (hadElements) newline();
  out_ << ']';
}

void JsonWriter::value(std::string_view text) {
  beforeValue();
  std::string quoted;
  quoted.reserve(text.size() + 2);
  appendQuoted(quoted, text);
  out_ << quoted;
}

void JsonWriter::value(int64_t number) {
  beforeValue();
  out_ << number;
}

void JsonWriter::value(bool flag) {
  beforeValue();
  out_ << (flag ? "true" : "false");
}

void JsonWriter::null() {
  beforeValue();
  out_ << "null";
}

void JsonWriter::value(const std::optional<std::string>& text) {
  if (text) {
    value(std::string_view(*text));
  } else {
    null();
  }
}

void JsonWriter::value(const std::optional<int64_t>& number) {
  if (number) {
    value(*number);
  } else {
    null();
  }
}

void JsonWriter::time(const std::optional<core::TimePoint>& time) {
  if (time) {
    value(core::formatIso8601(*time));
  } else {
    null();
  }
}

void JsonWriter::stringArray(const std::vector<std::string>& items) {
  beginArray();
  for (const std::string& item : items) value(std::string_view(item));
  endArray();
}

}  // namespace zephyl::cli
