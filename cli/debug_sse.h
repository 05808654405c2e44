// `zephyl debug sse`: runs a server-sent event body through the reader and
// prints one JSON line per event, so a captured body can be checked by hand.
#pragma once

#include <cstddef>
#include <istream>
#include <ostream>

namespace zephyl::cli {

// Feeds `in` to the reader in chunks of `chunkSize` bytes (at least 1) and
// writes `{"event": name or null, "data": text}` per event, final flush included.
// Returns the number of events.
size_t printSseEvents(std::istream& in, std::ostream& out, size_t chunkSize);

}  // namespace zephyl::cli
