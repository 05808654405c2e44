#include "core/json_tape.h"

#include <array>
#include <charconv>
#include <cmath>

#include "core/utf8.h"

namespace zephyl::core {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Bytes a string's fast loop stops at: the closing quote, an escape, a
// control character, the start of a multi-byte sequence.
constexpr std::array<bool, 256> kStringStops = [] {
  std::array<bool, 256> stops{};
  for (int byte = 0; byte < 256; ++byte)
    stops[byte] = byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '\\';
  return stops;
}();

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The four hex digits at `at`, or -1.
int hex4(std::string_view text, size_t at) {
  if (at + 4 > text.size()) return -1;
  int value = 0;
  for (size_t i = at; i < at + 4; ++i) {
    const int digit = hexDigit(text[i]);
    if (digit < 0) return -1;
    value = value * 16 + digit;
  }
  return value;
}

void appendCodePoint(uint32_t code, std::string& out) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

// The text inside a string's quotes, escapes already checked by the parse.
std::string unescape(std::string_view raw) {
  std::string out;
  out.reserve(raw.size());
  for (size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '\\') {
      out += raw[i];
      continue;
    }
    const char escape = raw[++i];
    switch (escape) {
      case 'b':
        out += '\b';
        break;
      case 'f':
        out += '\f';
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      case 't':
        out += '\t';
        break;
      case 'u': {
        uint32_t code = static_cast<uint32_t>(hex4(raw, i + 1));
        i += 4;
        if (code >= 0xD800 && code <= 0xDBFF) {
          code = 0x10000 + ((code - 0xD800) << 10) + (static_cast<uint32_t>(hex4(raw, i + 3)) - 0xDC00);
          i += 6;
        }
        appendCodePoint(code, out);
        break;
      }
      default:  // '"', '\\', '/'
        out += escape;
    }
  }
  return out;
}

std::optional<int64_t> integralDouble(double number) {
  // 2^63 is exactly representable; anything from it up does not fit.
  if (std::isfinite(number) && std::trunc(number) == number && number >= -9223372036854775808.0 &&
      number < 9223372036854775808.0) {
    return static_cast<int64_t>(number);
  }
  return std::nullopt;
}

// A number literal the parse accepted; one too small for a double reads as
// zero, as strtod has it (one too large was refused by the parse).
double parseDouble(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range) return text.starts_with('-') ? -0.0 : 0.0;
  return number;
}

// Whether a number literal is beyond the double range at the large end (the
// library JSONValue::parse uses refuses those), rather than the small one.
bool overflowsDouble(std::string_view literal) {
  double number = 0;
  const auto [end, error] = std::from_chars(literal.data(), literal.data() + literal.size(), number);
  if (error != std::errc::result_out_of_range) return false;
  // The decimal exponent of the first significant digit decides.
  long position = 0;  // of the digit being read, relative to the point
  long firstSignificant = 0;
  bool found = false;
  bool fraction = false;
  size_t i = literal.starts_with('-') ? 1 : 0;
  for (; i < literal.size() && literal[i] != 'e' && literal[i] != 'E'; ++i) {
    if (literal[i] == '.') {
      fraction = true;
      continue;
    }
    if (fraction) --position;
    if (!found && literal[i] != '0') {
      found = true;
      firstSignificant = position;
    }
    if (!fraction) ++position;
  }
  long exponent = 0;
  if (i < literal.size())
    std::from_chars(literal.data() + i + (literal[i + 1] == '+' ? 2 : 1), literal.data() + literal.size(),
                    exponent);
  return found && firstSignificant + exponent > 0;
}

template <typename Integer>
std::optional<Integer> parseInteger(std::string_view text) {
  Integer number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

void JSONTape::fail(size_t at, std::string_view problem) const {
  throw JSONValueError(JSONValueError::Code::kMalformedJSON,
                       std::string(problem) + " at offset " + std::to_string(at));
}

void JSONTape::parse(std::string_view text) {
  size_t end = parsePrefix(text, 0);
  while (end < text.size() && isSpace(text[end])) ++end;
  if (end != text.size()) fail(end, "unexpected text after the value");
}

size_t JSONTape::parseMembers(std::string_view text, size_t offset,
                              const std::function<size_t(std::string key, size_t valueOffset)>& member) {
  size_t at = offset;
  const auto expect = [&](char c, std::string_view problem) {
    while (at < text.size() && isSpace(text[at])) ++at;
    if (at >= text.size() || text[at] != c) fail(at, problem);
    ++at;
  };
  expect('{', "expected an object");
  while (at < text.size() && isSpace(text[at])) ++at;
  if (at < text.size() && text[at] == '}') return at + 1;
  for (;;) {
    while (at < text.size() && isSpace(text[at])) ++at;
    if (at >= text.size() || text[at] != '"') fail(at, "expected a member name");
    at = parsePrefix(text, at);
    std::string key = *root().string();
    expect(':', "expected ':'");
    at = member(std::move(key), at);
    while (at < text.size() && isSpace(text[at])) ++at;
    if (at < text.size() && text[at] == '}') return at + 1;
    if (at >= text.size() || text[at] != ',') fail(at, "expected ',' or '}'");
    ++at;
  }
}

size_t JSONTape::parsePrefix(std::string_view text, size_t offset) {
  text_ = text;
  nodes_.clear();
  open_.clear();
  keyBits_.clear();
  const size_t size = text.size();
  if (size >= UINT32_MAX) fail(0, "text too large");
  size_t at = offset;
  const auto skipSpace = [&] {
    while (at < size && isSpace(text[at])) ++at;
  };
  const auto expect = [&](char c, std::string_view problem) {
    skipSpace();
    if (at >= size || text[at] != c) fail(at, problem);
    ++at;
  };
  const auto close = [&] {
    Node& container = nodes_[open_.back()];
    container.next = static_cast<uint32_t>(nodes_.size());
    container.length = static_cast<uint32_t>(at + 1 - container.begin);
    open_.pop_back();
    keyBits_.pop_back();
    ++at;
  };
  const auto literal = [&](std::string_view word, Kind kind) {
    if (text.substr(at, word.size()) != word) fail(at, "invalid literal");
    scalarNode(kind, false, at, word.size());
    at += word.size();
  };

  for (;;) {
    // A value starts here.
    skipSpace();
    if (at >= size) fail(at, "unexpected end of text");
    bool closed = false;
    switch (text[at]) {
      case '{':
      case '[': {
        const bool object = text[at] == '{';
        open_.push_back(static_cast<uint32_t>(nodes_.size()));
        keyBits_.push_back(0);
        nodes_.push_back({object ? Kind::kObject : Kind::kArray, false, 0, static_cast<uint32_t>(at), 0});
        ++at;
        skipSpace();
        if (at < size && text[at] == (object ? '}' : ']')) {
          close();
          closed = true;
        } else if (!object) {
          continue;  // the first element
        }
        break;
      }
      case '"':
        at = parseString(at);
        closed = true;
        break;
      case 't':
        literal("true", Kind::kTrue);
        closed = true;
        break;
      case 'f':
        literal("false", Kind::kFalse);
        closed = true;
        break;
      case 'n':
        literal("null", Kind::kNull);
        closed = true;
        break;
      default:
        at = parseNumber(at);
        closed = true;
    }
    // After a complete value: close what ends here, then find the next value.
    for (;;) {
      if (open_.empty()) return at;
      const bool object = nodes_[open_.back()].kind == Kind::kObject;
      if (closed) {
        skipSpace();
        if (at < size && text[at] == (object ? '}' : ']')) {
          close();
          continue;
        }
        if (at >= size || text[at] != ',') fail(at, object ? "expected ',' or '}'" : "expected ',' or ']'");
        ++at;
      }
      if (object) {
        skipSpace();
        if (at >= size || text[at] != '"') fail(at, "expected a member name");
        const auto key = static_cast<uint32_t>(nodes_.size());
        at = parseString(at);
        noteKey(key);
        expect(':', "expected ':'");
      }
      break;
    }
  }
}

// Marks the open object when `key` may repeat one of its earlier keys, so
// that lookups know whether the first match is the only one. Keys are
// compared only when their hash bits collide.
void JSONTape::noteKey(uint32_t key) {
  Node& object = nodes_[open_.back()];
  const Node& name = nodes_[key];
  if (object.flag) return;
  if (name.flag) {  // escapes: equal keys may be spelled differently
    object.flag = true;
    return;
  }
  const std::string_view raw = text_.substr(name.begin, name.length);
  const auto byte = [&](size_t i) { return i < raw.size() ? static_cast<unsigned char>(raw[i]) : 0u; };
  const size_t hash = raw.size() * 11 + byte(0) * 7 + byte(raw.size() / 2) * 3 + byte(raw.size() - 1);
  const uint64_t bit = uint64_t{1} << (hash & 63);
  uint64_t& bits = keyBits_.back();
  if (bits & bit) {
    // A large object is taken to repeat a key rather than scanned again for
    // each: lookups in it then read every member, which stays linear.
    constexpr uint32_t kScannedNodes = 256;
    if (key - open_.back() > kScannedNodes) {
      object.flag = true;
      return;
    }
    for (uint32_t member = open_.back() + 1; member < key; member = nodes_[member + 1].next) {
      if (text_.substr(nodes_[member].begin, nodes_[member].length) == raw) object.flag = true;
    }
  }
  bits |= bit;
}

void JSONTape::scalarNode(Kind kind, bool flag, size_t begin, size_t length) {
  nodes_.push_back({kind, flag, static_cast<uint32_t>(nodes_.size() + 1), static_cast<uint32_t>(begin),
                    static_cast<uint32_t>(length)});
}

size_t JSONTape::parseString(size_t at) {
  const std::string_view text = text_;
  const size_t begin = at + 1;
  bool escapes = false;
  size_t i = begin;
  for (;;) {
    while (i < text.size() && !kStringStops[static_cast<unsigned char>(text[i])]) ++i;
    if (i >= text.size()) fail(at, "unterminated string");
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte == '"') break;
    if (byte >= 0x80) {
      const size_t length = validSequenceLength(text, i);
      if (length == 0) fail(i, "invalid UTF-8 in string");
      i += length;
    } else if (byte == '\\') {
      escapes = true;
      if (i + 1 >= text.size()) fail(i, "unterminated string");
      const char escape = text[i + 1];
      if (escape == 'u') {
        const int code = hex4(text, i + 2);
        if (code < 0) fail(i, "invalid \\u escape");
        i += 6;
        if (code >= 0xDC00 && code <= 0xDFFF) fail(i, "lone low surrogate");
        if (code >= 0xD800 && code <= 0xDBFF) {
          const int low =
              i + 1 < text.size() && text[i] == '\\' && text[i + 1] == 'u' ? hex4(text, i + 2) : -1;
          if (low < 0xDC00 || low > 0xDFFF) fail(i, "unpaired high surrogate");
          i += 6;
        }
      } else if (std::string_view("\"\\/bfnrt").find(escape) != std::string_view::npos) {
        i += 2;
      } else {
        fail(i, "invalid escape");
      }
    } else {
      fail(i, "control character in string");
    }
  }
  scalarNode(Kind::kString, escapes, begin, i - begin);
  return i + 1;
}

size_t JSONTape::parseNumber(size_t at) {
  const std::string_view text = text_;
  const size_t begin = at;
  const auto digits = [&] {
    const size_t first = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    if (at == first) fail(at, "invalid number");
  };
  if (at < text.size() && text[at] == '-') ++at;
  if (at < text.size() && text[at] == '0') {
    ++at;
  } else {
    digits();
  }
  bool integer = true;
  if (at < text.size() && text[at] == '.') {
    ++at;
    digits();
    integer = false;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    digits();
    integer = false;
  }
  const std::string_view literal = text.substr(begin, at - begin);
  if ((!integer || literal.size() > 19) && overflowsDouble(literal)) fail(begin, "number overflows a double");
  scalarNode(Kind::kNumber, integer, begin, at - begin);
  return at;
}

std::string JSONTape::stringAt(uint32_t index) const {
  const Node& node = nodes_[index];
  const std::string_view raw = text_.substr(node.begin, node.length);
  return node.flag ? unescape(raw) : std::string(raw);
}

bool JSONTape::keyEquals(uint32_t index, std::string_view key) const {
  const Node& node = nodes_[index];
  if (!node.flag) return text_.substr(node.begin, node.length) == key;
  return stringAt(index) == key;
}

std::optional<std::string> JSONTape::Value::string() const {
  if (node().kind != Kind::kString) return std::nullopt;
  return tape_->stringAt(index_);
}

std::optional<bool> JSONTape::Value::boolean() const {
  if (node().kind == Kind::kTrue) return true;
  if (node().kind == Kind::kFalse) return false;
  return std::nullopt;
}

std::optional<int64_t> JSONTape::Value::integer() const {
  const Node& number = node();
  if (number.kind != Kind::kNumber) return std::nullopt;
  const std::string_view text = tape_->text_.substr(number.begin, number.length);
  // An integer literal outside the signed range is an unsigned or a double
  // in a JSONValue, neither of which reads as a signed integer.
  if (number.flag) return parseInteger<int64_t>(text);
  return integralDouble(parseDouble(text));
}

std::optional<JSONTape::Value> JSONTape::Value::find(std::string_view key) const {
  const Node& object = node();
  if (object.kind != Kind::kObject) return std::nullopt;
  std::optional<Value> found;
  for (uint32_t member = index_ + 1; member < object.next;) {
    const uint32_t value = member + 1;
    if (tape_->keyEquals(member, key)) found = Value(*tape_, value);
    member = tape_->nodes_[value].next;
  }
  return found;
}

std::optional<JSONTape::Value> JSONTape::Value::find(std::string_view key, uint32_t& cursor) const {
  const Node& object = node();
  if (object.kind != Kind::kObject || object.flag) return find(key);
  const uint32_t first = index_ + 1;
  if (cursor <= index_ || cursor >= object.next) cursor = first;
  // From the cursor to the end, then from the start up to the cursor.
  const uint32_t start = cursor;
  for (int pass = 0; pass < 2; ++pass) {
    const uint32_t end = pass == 0 ? object.next : start;
    for (uint32_t member = pass == 0 ? start : first; member < end;) {
      const uint32_t value = member + 1;
      member = tape_->nodes_[value].next;
      if (tape_->keyEquals(value - 1, key)) {
        cursor = member;
        return Value(*tape_, value);
      }
    }
  }
  return std::nullopt;
}

JSONTape::Value::Elements JSONTape::Value::elements() const {
  const Node& array = node();
  if (array.kind != Kind::kArray) return Elements(tape_, index_, index_);
  return Elements(tape_, index_ + 1, array.next);
}

JSONValue JSONTape::Value::toJSONValue() const {
  const Node& value = node();
  switch (value.kind) {
    case Kind::kObject: {
      JSONValue object = JSONValue::Object{};
      for (uint32_t member = index_ + 1; member < value.next;) {
        const uint32_t item = member + 1;
        object.set(tape_->stringAt(member), Value(*tape_, item).toJSONValue());
        member = tape_->nodes_[item].next;
      }
      return object;
    }
    case Kind::kArray: {
      JSONValue::Array array;
      for (const Value element : elements()) array.push_back(element.toJSONValue());
      return array;
    }
    case Kind::kString:
      return tape_->stringAt(index_);
    case Kind::kNumber: {
      const std::string_view text = tape_->text_.substr(value.begin, value.length);
      if (value.flag) {
        if (auto number = parseInteger<int64_t>(text)) return *number;
        if (auto number = parseInteger<uint64_t>(text)) return *number;
      }
      return parseDouble(text);
    }
    case Kind::kTrue:
      return true;
    case Kind::kFalse:
      return false;
    case Kind::kNull:
      return nullptr;
  }
  return nullptr;
}

}  // namespace zephyl::core
