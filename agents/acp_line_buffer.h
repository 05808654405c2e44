// ACPLineBuffer: splits the raw bytes of an agent's standard output into lines
// at line feeds, before any text decoding, and bounds what may wait without one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::agents {

// 32 MiB: the most an agent may send without a line feed.
inline constexpr int64_t kACPMaxLineBytes = 33'554'432;

struct ACPLineBuffer {
  std::string buffer;  // the unterminated remainder: bytes after the last line feed
  int64_t maxLineBytes = kACPMaxLineBytes;
  bool overflowed = false;              // set once the unterminated remainder passed the limit
  std::string taken;                    // a line completed from the remainder, for the views
  std::vector<std::string_view> lines;  // what the last append returned

  // Appends `chunk` and returns the complete non-empty lines it finishes, in
  // order, without their line feeds (a carriage return stays). The views stay
  // valid until the next append and while `chunk` does: lines that lie wholly
  // inside `chunk` are handed out in place, and only the bytes after its last
  // line feed are copied, so each byte is searched once and small frames cost
  // no copy. The limit applies only to the unterminated remainder: complete
  // lines of any size pass, and a remainder over the limit is dropped and sets
  // `overflowed`.
  const std::vector<std::string_view>& append(std::string_view chunk);
};

}  // namespace zephyl::agents
