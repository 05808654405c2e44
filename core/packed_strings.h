// A list of strings kept end to end in one allocation: for the hundreds of
// thousands of short texts a library holds, where a std::string each costs
// twice the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::core {

class PackedStrings {
 public:
  size_t size() const { return ends_.size(); }
  bool empty() const { return ends_.empty(); }

  // The view stays valid until the next push_back.
  std::string_view operator[](size_t index) const {
    const uint64_t start = index == 0 ? 0 : ends_[index - 1];
    return std::string_view(texts_).substr(start, ends_[index] - start);
  }

  // Adds `text` at the end; its index is the size before.
  void push_back(std::string_view text) {
    texts_ += text;
    ends_.push_back(texts_.size());
  }

  // For range-for: the strings in order, as views.
  class Iterator {
   public:
    Iterator(const PackedStrings& strings, size_t index) : strings_(&strings), index_(index) {}
    std::string_view operator*() const { return (*strings_)[index_]; }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    bool operator==(const Iterator& other) const { return index_ == other.index_; }

   private:
    const PackedStrings* strings_;
    size_t index_;
  };
  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, size()}; }

  // Room for `count` strings of `bytes` in all: growing copies what it holds,
  // and leaves the old room behind as holes a large list cannot spare.
  void reserve(size_t count, size_t bytes) {
    ends_.reserve(count);
    texts_.reserve(bytes);
  }

 private:
  std::string texts_;
  std::vector<uint64_t> ends_;
};

}  // namespace zephyl::core
