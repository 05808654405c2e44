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
  std::string buffer;  // bytes received and not yet taken as a line
  int64_t maxLineBytes = kACPMaxLineBytes;
  bool overflowed = false;  // set once the unterminated remainder passed the limit
  size_t scanned = 0;       // buffer before this offset holds no line feed

  // Appends `chunk` and returns the complete non-empty lines it finishes, in
  // order, without their line feeds (a carriage return stays). Each byte is
  // searched once, so a long line arriving in small pieces costs linear time.
  // The limit applies only to the unterminated remainder: complete lines of any
  // size pass, and a remainder over the limit is dropped and sets `overflowed`.
  std::vector<std::string> append(std::string_view chunk);
};

}  // namespace zephyl::agents
