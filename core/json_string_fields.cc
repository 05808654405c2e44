#include "core/json_string_fields.h"

#include "core/utf8.h"

namespace zephyl::core::internal {
namespace {

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  void skipSpace() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }
  bool take(char expected) {
    skipSpace();
    if (at_ >= text_.size() || text_[at_] != expected) return false;
    ++at_;
    return true;
  }
  bool peek(char expected) {
    skipSpace();
    return at_ < text_.size() && text_[at_] == expected;
  }

  // A string starting at the quote; decoded into `out` when it is not null.
  bool string(std::string* out) {
    if (!take('"')) return false;
    size_t runStart = at_;
    while (at_ < text_.size()) {
      const char character = text_[at_];
      if (character == '"') {
        if (out) out->append(text_.substr(runStart, at_ - runStart));
        ++at_;
        return true;
      }
      if (static_cast<unsigned char>(character) < 0x20) return false;
      if (character != '\\') {
        ++at_;
        continue;
      }
      if (out) out->append(text_.substr(runStart, at_ - runStart));
      if (++at_ >= text_.size()) return false;
      if (!escape(out)) return false;
      runStart = at_;
    }
    return false;
  }

  // Any value, skipped; nesting is tracked, strings are skipped whole.
  bool skipValue() {
    skipSpace();
    if (at_ >= text_.size()) return false;
    const char first = text_[at_];
    if (first == '"') return string(nullptr);
    if (first == '{' || first == '[') {
      int depth = 0;
      while (at_ < text_.size()) {
        const char character = text_[at_];
        if (character == '"') {
          if (!string(nullptr)) return false;
          continue;
        }
        if (character == '{' || character == '[') ++depth;
        if (character == '}' || character == ']') --depth;
        ++at_;
        if (depth == 0) return true;
      }
      return false;
    }
    // A number or a literal: up to the next delimiter.
    const size_t start = at_;
    while (at_ < text_.size() && text_[at_] != ',' && text_[at_] != '}' && text_[at_] != ']' &&
           text_[at_] != ' ' && text_[at_] != '\n' && text_[at_] != '\r' && text_[at_] != '\t') {
      ++at_;
    }
    return at_ > start;
  }

  bool atEnd() {
    skipSpace();
    return at_ == text_.size();
  }

 private:
  bool escape(std::string* out) {
    const char code = text_[at_++];
    char plain;
    switch (code) {
      case '"':
        plain = '"';
        break;
      case '\\':
        plain = '\\';
        break;
      case '/':
        plain = '/';
        break;
      case 'b':
        plain = '\b';
        break;
      case 'f':
        plain = '\f';
        break;
      case 'n':
        plain = '\n';
        break;
      case 'r':
        plain = '\r';
        break;
      case 't':
        plain = '\t';
        break;
      case 'u': {
        char32_t unit = 0;
        if (!hex4(unit)) return false;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
          char32_t low = 0;
          if (at_ + 1 >= text_.size() || text_[at_] != '\\' || text_[at_ + 1] != 'u') return false;
          at_ += 2;
          if (!hex4(low) || low < 0xDC00 || low > 0xDFFF) return false;
          unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
        } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
          return false;
        }
        if (out) out->append(encodeUtf8(std::u32string_view(&unit, 1)));
        return true;
      }
      default:
        return false;
    }
    if (out) out->push_back(plain);
    return true;
  }

  bool hex4(char32_t& value) {
    if (at_ + 4 > text_.size()) return false;
    for (int index = 0; index < 4; ++index) {
      const char digit = text_[at_++];
      value <<= 4;
      if (digit >= '0' && digit <= '9') {
        value |= static_cast<char32_t>(digit - '0');
      } else if (digit >= 'a' && digit <= 'f') {
        value |= static_cast<char32_t>(digit - 'a' + 10);
      } else if (digit >= 'A' && digit <= 'F') {
        value |= static_cast<char32_t>(digit - 'A' + 10);
      } else {
        return false;
      }
    }
    return true;
  }

  std::string_view text_;
  size_t at_ = 0;
};

}  // namespace

bool scanJSONStringFields(std::string_view text, const std::string_view* keys,
                          std::optional<std::string>* found, size_t count) {
  Scanner scanner(text);
  if (!scanner.take('{')) return false;
  if (!scanner.take('}')) {
    do {
      std::string key;
      if (!scanner.peek('"') || !scanner.string(&key) || !scanner.take(':')) return false;
      size_t wanted = count;
      for (size_t index = 0; index < count; ++index) {
        if (keys[index] == key) wanted = index;
      }
      if (wanted == count) {
        if (!scanner.skipValue()) return false;
        continue;
      }
      if (!scanner.peek('"')) return false;
      std::string value;
      if (!scanner.string(&value) || !isValidUtf8(value)) return false;
      found[wanted] = std::move(value);  // a repeated key keeps its last value, as the parser does
    } while (scanner.take(','));
    if (!scanner.take('}')) return false;
  }
  return scanner.atEnd();
}

}  // namespace zephyl::core::internal
