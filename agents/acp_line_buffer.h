// ACPLineBuffer: splits the raw bytes of an agent's standard output into lines
// at line feeds, before any text decoding, and bounds what may wait without one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace zephyl::agents {

// 32 MiB: the most an agent may send without a line feed.
inline constexpr int64_t kACPMaxLineBytes = 33'554'432;

// The agent's output is read straight into the buffer's free space, so a byte
// is copied once (by the read) and searched once, whatever the line length.
class ACPLineBuffer {
 public:
  explicit ACPLineBuffer(int64_t maxLineBytes = kACPMaxLineBytes) : maxLineBytes_(maxLineBytes) {}

  // Free space at the end, at least `bytes` long, to read into; then commit()
  // what was read. Invalidates the views of the last commit.
  std::span<char> space(size_t bytes);

  // Takes the first `bytes` of the space just handed out and returns the
  // complete non-empty lines they finish, in order, without their line feeds
  // (a carriage return stays). The views stay valid until the next space().
  // The limit applies only to the unterminated remainder: complete lines of
  // any size pass, and a remainder over the limit is dropped and sets
  // overflowed().
  const std::vector<std::string_view>& commit(size_t bytes);

  // space() + copy + commit(), for bytes that are already in memory.
  const std::vector<std::string_view>& append(std::string_view chunk);

  bool overflowed() const { return overflowed_; }
  // The bytes after the last line feed.
  std::string_view remainder() const { return {storage_.get() + begin_, end_ - begin_}; }

 private:
  struct Free {
    void operator()(char* storage) const { std::free(storage); }
  };
  using Storage = std::unique_ptr<char, Free>;

  int64_t maxLineBytes_;
  bool overflowed_ = false;
  Storage storage_;
  size_t capacity_ = 0;
  size_t begin_ = 0;  // the remainder's start: it holds no line feed
  size_t end_ = 0;    // the end of the bytes read
  std::vector<std::string_view> lines_;
};

}  // namespace zephyl::agents
