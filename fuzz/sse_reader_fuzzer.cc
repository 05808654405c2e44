// Feeds the server-sent event reader arbitrary bytes in an arbitrary chunking
// (taken from the input's first bytes) and checks that the events equal those
// of the same body fed at once.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "ai/sse_reader.h"

namespace {

std::vector<zephyl::ai::SSEEvent> readAll(zephyl::ai::SSEReader& reader, std::string_view body,
                                          std::string_view chunkSizes) {
  std::vector<zephyl::ai::SSEEvent> events;
  size_t at = 0;
  size_t next = 0;
  while (at < body.size()) {
    // Chunk sizes 0..255 cycle through the control bytes; 0 feeds an empty chunk.
    size_t size =
        chunkSizes.empty() ? body.size() : static_cast<uint8_t>(chunkSizes[next++ % chunkSizes.size()]);
    if (size > body.size() - at) size = body.size() - at;
    for (auto& event : reader.feed(body.substr(at, size))) events.push_back(std::move(event));
    at += size;
    if (size == 0 && next > chunkSizes.size() * 2) break;  // only empty chunks: give up feeding in pieces
  }
  if (at < body.size()) {
    for (auto& event : reader.feed(body.substr(at))) events.push_back(std::move(event));
  }
  for (auto& event : reader.finish()) events.push_back(std::move(event));
  return events;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t controlLength = std::min<size_t>(static_cast<uint8_t>(input[0]) % 16, input.size() - 1);
  const std::string_view chunkSizes = input.substr(1, controlLength);
  const std::string_view body = input.substr(1 + controlLength);

  zephyl::ai::SSEReader whole;
  const auto expected = readAll(whole, body, {});
  zephyl::ai::SSEReader chunked;
  const auto actual = readAll(chunked, body, chunkSizes);
  if (actual != expected) std::abort();
  // A reader is reusable after finish().
  if (readAll(chunked, body, {}) != expected) std::abort();
  return 0;
}
