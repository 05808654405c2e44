// JSONTape: a JSON value read in place, for decoders of large files that go
// straight to their own records. The parse validates the text as strictly as
// JSONValue::parse (grammar, UTF-8, escapes) but builds no tree: it records
// one flat node per value, pointing into the text, and strings are unescaped
// only when read. One tape can be reused for many values, so reading a file of
// many records allocates per record only what the records themselves hold.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/json_value.h"

namespace zephyl::core {

class JSONTape {
 public:
  class Value;

  // Reads the one JSON value that starts at `offset` (after optional white
  // space) and returns the offset just past it; the text after it is not
  // looked at. The tape then holds that value, and `text` must outlive it.
  // Throws JSONValueError as JSONValue::parse does, and for a text of 4 GiB
  // or more (offsets are 32-bit, which halves the tape).
  size_t parsePrefix(std::string_view text, size_t offset);
  // The whole of `text` as one value (surrounding white space allowed).
  void parse(std::string_view text);
  // Reads the object that starts at `offset` (after optional white space) a
  // member at a time, for an object too large to hold on one tape:
  // member(key, valueOffset) reads the value, with this tape or another, and
  // returns the offset just past it. Returns the offset just past the object.
  // Throws JSONValueError as parsePrefix does, and when no object starts there.
  size_t parseMembers(std::string_view text, size_t offset,
                      const std::function<size_t(std::string key, size_t valueOffset)>& member);
  // The tape points into the text: a temporary would leave it dangling.
  template <typename Text, typename = std::enable_if_t<std::is_same_v<Text, std::string>>>
  size_t parsePrefix(Text&&, size_t) = delete;
  template <typename Text, typename = std::enable_if_t<std::is_same_v<Text, std::string>>>
  void parse(Text&&) = delete;

  Value root() const;

 private:
  friend class Value;
  enum class Kind : uint8_t { kObject, kArray, kString, kNumber, kTrue, kFalse, kNull };
  struct Node {
    Kind kind;
    // strings: holds escapes; numbers: is an integer literal; objects: may
    // repeat a key
    bool flag;
    uint32_t next;    // the index of the node after this value and all it holds
    uint32_t begin;   // strings: the first byte inside the quotes
    uint32_t length;  // of the text (strings: inside the quotes)
  };

  void noteKey(uint32_t key);
  void scalarNode(Kind kind, bool flag, size_t begin, size_t length);
  size_t parseString(size_t at);
  size_t parseNumber(size_t at);
  [[noreturn]] void fail(size_t at, std::string_view problem) const;
  std::string stringAt(uint32_t index) const;
  bool keyEquals(uint32_t index, std::string_view key) const;

  std::string_view text_;
  std::vector<Node> nodes_;
  std::vector<uint32_t> open_;     // containers being read
  std::vector<uint64_t> keyBits_;  // per open container: a bit per hash of its keys so far
};

// One value of a tape; valid while the tape holds the same parse.
class JSONTape::Value {
 public:
  bool isNull() const { return node().kind == Kind::kNull; }
  bool isObject() const { return node().kind == Kind::kObject; }
  bool isArray() const { return node().kind == Kind::kArray; }

  // As JSONValue's accessors: nullopt when the value is of another kind.
  std::optional<std::string> string() const;
  std::optional<bool> boolean() const;
  std::optional<int64_t> integer() const;

  // The member named `key` of an object (the last one when repeated, as
  // JSONValue keeps it), or nullopt (also when this is no object).
  std::optional<Value> find(std::string_view key) const;
  // The same, for a reader that looks members up about in the order they
  // were written: `cursor` (0 at first) keeps where the last lookup ended,
  // so each costs about one comparison instead of a scan.
  std::optional<Value> find(std::string_view key, uint32_t& cursor) const;

  class Elements;
  // An array's elements in order, read in place; none for other kinds.
  Elements elements() const;
  // Calls visit(key, value) for an object's members in the order written,
  // repeated keys included; for no member of other kinds.
  template <typename Visit>
  void forEachMember(Visit&& visit) const {
    const Node& object = node();
    if (object.kind != Kind::kObject) return;
    for (uint32_t member = index_ + 1; member < object.next;) {
      const uint32_t value = member + 1;
      visit(tape_->stringAt(member), Value(*tape_, value));
      member = tape_->nodes_[value].next;
    }
  }

  // The value as a JSONValue, equal to what JSONValue::parse makes of its text.
  JSONValue toJSONValue() const;

 private:
  friend class JSONTape;
  Value(const JSONTape& tape, uint32_t index) : tape_(&tape), index_(index) {}
  const Node& node() const { return tape_->nodes_[index_]; }

  const JSONTape* tape_;
  uint32_t index_;
};

class JSONTape::Value::Elements {
 public:
  class Iterator {
   public:
    Value operator*() const { return Value(*tape_, index_); }
    Iterator& operator++() {
      index_ = tape_->nodes_[index_].next;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return index_ != other.index_; }

   private:
    friend class Elements;
    Iterator(const JSONTape* tape, uint32_t index) : tape_(tape), index_(index) {}
    const JSONTape* tape_;
    uint32_t index_;
  };

  Iterator begin() const { return Iterator(tape_, first_); }
  Iterator end() const { return Iterator(tape_, end_); }
  size_t size() const {
    size_t count = 0;
    for (Iterator it = begin(); it != end(); ++it) ++count;
    return count;
  }

 private:
  friend class Value;
  Elements(const JSONTape* tape, uint32_t first, uint32_t end) : tape_(tape), first_(first), end_(end) {}
  const JSONTape* tape_;
  uint32_t first_;
  uint32_t end_;
};

inline JSONTape::Value JSONTape::root() const { return Value(*this, 0); }

}  // namespace zephyl::core
