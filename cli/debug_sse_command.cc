#include <memory>
#include <sstream>
#include <string>

#include "ai/sse_reader.h"
#include "cli/commands.h"
#include "cli/debug_sse.h"
#include "cli/json_writer.h"

namespace zephyl::cli {
namespace {

void printEvent(std::ostream& out, const ai::SSEEvent& event) {
  JsonWriter json(out, 0);
  json.beginObject();
  json.key("event").value(event.event);
  json.key("data").value(event.data);
  json.endObject();
  json.finish();
}

}  // namespace

size_t printSseEvents(std::istream& in, std::ostream& out, size_t chunkSize) {
  if (chunkSize == 0) chunkSize = 1;
  ai::SSEReader reader;
  std::string buffer(chunkSize, '\0');
  size_t count = 0;
  while (in) {
    // Exactly chunkSize bytes per feed, as a network read of that size would give.
    in.read(buffer.data(), static_cast<std::streamsize>(chunkSize));
    const auto got = static_cast<size_t>(in.gcount());
    if (got == 0) break;
    for (const auto& event : reader.feed(std::string_view(buffer).substr(0, got))) {
      printEvent(out, event);
      ++count;
    }
  }
  for (const auto& event : reader.finish()) {
    printEvent(out, event);
    ++count;
  }
  return count;
}

void addDebugSseCommand(CLI::App& debug, CliContext& context) {
  auto* sse = debug.add_subcommand(
      "sse", "Read a server-sent event body from standard input and print one JSON line per event");
  auto chunk = std::make_shared<size_t>(4096);
  sse->add_option("--chunk", *chunk, "Feed the reader N bytes at a time (default 4096)")
      ->check(CLI::Range(size_t{1}, size_t{1} << 30));
  sse->callback([&context, chunk] {
    std::istringstream empty;
    std::istream& in = context.streams().in != nullptr ? *context.streams().in : empty;
    printSseEvents(in, context.streams().out, *chunk);
  });
}

}  // namespace zephyl::cli
