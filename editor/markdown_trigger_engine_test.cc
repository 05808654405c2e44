#include "editor/markdown_trigger_engine.h"

#include <gtest/gtest.h>

#include "editor/us_key_layout.h"
#include "platform/testing/fake_clock.h"

namespace zephyl::editor {
namespace {

class CountingUuids : public UuidGenerator {
 public:
  std::string makeUuid() override { return "UUID-" + std::to_string(++count_); }

 private:
  int count_ = 0;
};

struct Expected {
  TriggerKind kind;
  std::string text;
  std::string input;
  int charactersToRemove;
};

std::vector<TriggerEvent> typeText(MarkdownTriggerEngine& engine, std::string_view text) {
  std::vector<TriggerEvent> events;
  for (const auto& key : UsKeyLayout::keyPresses(text)) {
    if (auto event = engine.handleKey(key)) events.push_back(*event);
  }
  return events;
}

struct EngineCase {
  const char* typed;
  bool fullWidth;
  std::vector<Expected> expected;
};

TEST(MarkdownTriggerEngine, RecognisesExactLinesOnlyAfterABlank) {
  const std::vector<EngineCase> cases = {
      {"# ", false, {{TriggerKind::kTitle, "#", "# ", 2}}},
      {"## ", false, {{TriggerKind::kHeading, "##", "## ", 3}}},
      {"### ", false, {{TriggerKind::kSubheading, "###", "### ", 4}}},
      {"[] ", false, {{TriggerKind::kChecklist, "[]", "[] ", 3}}},
      {"[ ] ", false, {{TriggerKind::kChecklist, "[ ]", "[ ] ", 4}}},
      {"``` ", false, {{TriggerKind::kMonostyled, "```", "``` ", 4}}},
      {"> ", false, {{TriggerKind::kQuote, ">", "> ", 2}}},
      {"#### ", false, {}},
      {"a# ", false, {}},                                      // not the first thing on the line
      {"#", false, {}},                                        // no blank yet
      {"# # ", false, {{TriggerKind::kTitle, "#", "# ", 2}}},  // only the first blank completes it
      {"Plan\n## ", false, {{TriggerKind::kHeading, "##", "## ", 3}}},
      {"#x\x7f ", false, {{TriggerKind::kTitle, "#", "# ", 2}}},     // Delete takes the x back
      {"\x7f\x7f# ", false, {{TriggerKind::kTitle, "#", "# ", 2}}},  // Delete on an empty line
      {"/", false, {}},
      {"/ ", false, {}},  // the slash row never fires from the engine
      {"【】 ", false, {}},
      {"【】 ", true, {{TriggerKind::kChecklist, "【】", "【】 ", 3}}},
      {"【 】 ", true, {{TriggerKind::kChecklist, "【 】", "【 】 ", 4}}},
      {"··· ", true, {{TriggerKind::kMonostyled, "```", "··· ", 4}}},
      {"》》 ", true, {}},  // the note-link ending is tested before the blank is gone
      {"》〉", true, {}},
      {"## ", true, {{TriggerKind::kHeading, "##", "## ", 3}}},
  };
  for (const auto& test : cases) {
    platform::testing::FakeClock clock;
    CountingUuids uuids;
    MarkdownTriggerEngine engine(clock, uuids, test.fullWidth);
    const auto events = typeText(engine, test.typed);
    ASSERT_EQ(events.size(), test.expected.size()) << test.typed;
    for (size_t i = 0; i < events.size(); ++i) {
      EXPECT_EQ(events[i].kind, test.expected[i].kind) << test.typed;
      EXPECT_EQ(events[i].text, test.expected[i].text) << test.typed;
      EXPECT_EQ(events[i].triggerInput, test.expected[i].input) << test.typed;
      EXPECT_EQ(events[i].charactersToRemove, test.expected[i].charactersToRemove) << test.typed;
    }
  }
}

TEST(MarkdownTriggerEngine, LineBreaksEmptyTheBufferAndOnlyTheLastTwelveCharactersAreKept) {
  platform::testing::FakeClock clock;
  CountingUuids uuids;
  MarkdownTriggerEngine engine(clock, uuids, true);
  typeText(engine, "abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(engine.buffer(), "opqrstuvwxyz");
  typeText(engine, "【】【】【】【】【】【】【】");  // full-width characters count as one each
  EXPECT_EQ(engine.buffer(), "【】【】【】【】【】【】");

  // A long line never becomes a trigger by losing its head.
  typeText(engine, "\nwritten so far ## ");
  EXPECT_EQ(engine.buffer(), "n so far ## ");

  engine.handleKey(KeyInputEvent{"\x03", kKeypadEnterKeyCode, 0, {}, {}});
  EXPECT_EQ(engine.buffer(), "");
  engine.handleKey(KeyInputEvent{"", kDownArrowKeyCode, 0, {}, {}});  // no characters: nothing changes
  typeText(engine, "##");
  engine.handleKey(KeyInputEvent{"", kDownArrowKeyCode, 0, {}, {}});
  EXPECT_EQ(engine.buffer(), "##");
  // A key that delivers several characters at once (an input method's commit)
  // is appended but does not count as the blank that completes a trigger.
  EXPECT_FALSE(engine.handleKey(KeyInputEvent{"x ", 0xFFFF, 0, {}, {}}).has_value());
}

TEST(MarkdownTriggerEngine, EveryEventGetsAFreshIdentifierAndTheClockTime) {
  platform::testing::FakeClock clock(core::TimePoint{std::chrono::seconds(1'800'000'000)});
  CountingUuids uuids;
  MarkdownTriggerEngine engine(clock, uuids);
  const auto first = typeText(engine, "# \n");
  clock.advance(std::chrono::seconds(5));
  const auto second = typeText(engine, "# ");
  ASSERT_EQ(first.size(), 1u);
  ASSERT_EQ(second.size(), 1u);
  EXPECT_EQ(first[0].identifier, "UUID-1");
  EXPECT_EQ(second[0].identifier, "UUID-2");
  EXPECT_EQ(first[0].createdAt, core::TimePoint{std::chrono::seconds(1'800'000'000)});
  EXPECT_EQ(second[0].createdAt, core::TimePoint{std::chrono::seconds(1'800'000'005)});

  engine.setFullWidthEnabled(false);
  EXPECT_TRUE(typeText(engine, "\n【】 ").empty());
  engine.setFullWidthEnabled(true);
  EXPECT_EQ(typeText(engine, "\n【】 ").size(), 1u);
}

TEST(RandomUuidGenerator, WritesVersionFourUuidsFromItsRandomSource) {
  uint64_t next = 0;
  RandomUuidGenerator fixed([&] { return next++ == 0 ? 0xFFFFFFFFFFFFFFFFull : 0ull; });
  EXPECT_EQ(fixed.makeUuid(), "FFFFFFFF-FFFF-4FFF-8000-000000000000");
  RandomUuidGenerator random;
  const std::string a = random.makeUuid();
  EXPECT_EQ(a.size(), 36u);
  EXPECT_EQ(a[14], '4');
  EXPECT_NE(a, random.makeUuid());
}

}  // namespace
}  // namespace zephyl::editor
