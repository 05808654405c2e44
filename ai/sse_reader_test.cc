#include "ai/sse_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zephyl::ai {
namespace {

std::vector<SSEEvent> readInChunks(std::string_view body, size_t chunk) {
  SSEReader reader;
  std::vector<SSEEvent> events;
  for (size_t i = 0; i < body.size(); i += chunk) {
    for (auto& event : reader.feed(body.substr(i, chunk))) events.push_back(std::move(event));
  }
  for (auto& event : reader.finish()) events.push_back(std::move(event));
  return events;
}

SSEEvent named(std::string name, std::string data) { return SSEEvent{std::move(name), std::move(data)}; }
SSEEvent unnamed(std::string data) { return SSEEvent{std::nullopt, std::move(data)}; }

TEST(SSEReader, BodiesGiveTheirEventsWhateverTheChunking) {
  struct Case {
    std::string name;
    std::string body;
    std::vector<SSEEvent> expected;
  };
  const std::vector<Case> cases = {
      {"two data lines join with a line feed", "data: a\ndata: b\n\n", {unnamed("a\nb")}},
      {"event field ends pending event without blank line",
       "event: x\ndata: 1\nevent: y\ndata: 2\n\n",
       {named("x", "1"), named("y", "2")}},
      {"no space after colon keeps the whole value", "data:value\n\n", {unnamed("value")}},
      {"two spaces keep one", "data:  value\n\n", {unnamed(" value")}},
      {"final event without blank line comes from finish",
       "event: done\ndata: [DONE]",
       {named("done", "[DONE]")}},
      {"CR LF line ends", "event: e\r\ndata: x\r\n\r\n", {named("e", "x")}},
      {"lone CR is not a line end", "data: a\rb\n\n", {unnamed("a\rb")}},
      {"CR at the very end of the body is kept", "data: a\r", {unnamed("a\r")}},
      {"comments and unknown fields are ignored",
       ": keep-alive\nid: 7\nretry: 10\ndata: x\n\n",
       {unnamed("x")}},
      {"blank line with spaces and tabs ends an event",
       "data: x\n \t \ndata: y\n\n",
       {unnamed("x"), unnamed("y")}},
      {"name cleared after an event", "event: a\ndata: 1\n\ndata: 2\n\n", {named("a", "1"), unnamed("2")}},
      {"blank line without data only clears the name", "event: a\n\ndata: 2\n\n", {unnamed("2")}},
      {"data without colon is an empty line of data", "data\ndata\n\n", {unnamed("\n")}},
      {"empty event value is a name", "event:\ndata: x\n\n", {named("", "x")}},
      {"field names are case sensitive", "Data: x\nDATA: y\n\n", {}},
      {"multi-byte characters", "data: 日本語 😀\n\n", {unnamed("日本語 😀")}},
      {"invalid bytes become replacement characters",
       "data: a\xFF"
       "b\xE2\x82\n\n",
       {unnamed("a\xEF\xBF\xBD"
                "b\xEF\xBF\xBD")}},
      {"invalid bytes in a name are replaced, in a comment ignored",
       ": \xFF\nevent: \xC3\ndata: x\n\n",
       {named("\xEF\xBF\xBD", "x")}},
      {"empty body", "", {}},
  };
  for (const auto& c : cases) {
    for (size_t chunk : {size_t{1}, size_t{2}, size_t{3}, size_t{7}, size_t{4096}}) {
      EXPECT_EQ(readInChunks(c.body, chunk), c.expected) << c.name << " in chunks of " << chunk;
    }
  }
}

TEST(SSEReader, FeedReturnsEventsAsSoonAsTheyComplete) {
  SSEReader reader;
  EXPECT_TRUE(reader.feed("data: one\n").empty());
  EXPECT_EQ(reader.feed("\ndata: two\n\nda"), (std::vector<SSEEvent>{unnamed("one"), unnamed("two")}));
  EXPECT_EQ(reader.feed("ta: three\n\n"), std::vector<SSEEvent>{unnamed("three")});
  EXPECT_TRUE(reader.finish().empty());
}

TEST(SSEReader, FinishResetsForANewBody) {
  SSEReader reader;
  reader.feed("event: a\ndata: partial");
  EXPECT_EQ(reader.finish(), std::vector<SSEEvent>{named("a", "partial")});
  EXPECT_EQ(reader.feed("data: next\n\n"), std::vector<SSEEvent>{unnamed("next")});
}

TEST(SSEReader, ParseIsTheLineStepOnItsOwn) {
  SSEReader reader;
  EXPECT_FALSE(reader.parse("event: x"));
  EXPECT_FALSE(reader.parse("data: 1"));
  EXPECT_EQ(reader.parse("event: y"), named("x", "1"));
  EXPECT_FALSE(reader.parse("data: 2"));
  EXPECT_EQ(reader.parse(""), named("y", "2"));
}

TEST(SSEReader, HugeLineInSmallChunks) {
  const std::string payload(32 * 1024 * 1024, 'x');
  const std::string body = "data: " + payload + "\n\n";
  const auto events = readInChunks(body, 4096);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].data.size(), payload.size());
}

}  // namespace
}  // namespace zephyl::ai
