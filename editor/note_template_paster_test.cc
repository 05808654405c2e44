#include "editor/note_template_paster.h"

#include <gtest/gtest.h>

#include "platform/testing/fake_pasteboard.h"
#include "platform/testing/fake_shortcut_poster.h"

namespace zephyl::editor {
namespace {

using platform::testing::FakePasteboard;
using platform::testing::FakeShortcutPoster;

TEST(NoteTemplatePaster, PastesHtmlWithCommandVAndRestoresThePreviousContents) {
  struct Case {
    std::string name;
    bool posterFails;
    std::optional<PasteboardError::Code> writeFailure;
    bool pasted;
    size_t shortcuts;
    std::optional<PasteboardError::Code> readFailure = std::nullopt;
  };
  const std::vector<Case> cases = {
      {"success", false, std::nullopt, true, 1},
      {"shortcut refused", true, std::nullopt, false, 0},
      {"pasteboard refuses writes", false, PasteboardError::Code::kWriteFailed, false, 0},
      {"pasteboard unreadable", false, std::nullopt, false, 0, PasteboardError::Code::kUnavailable},
  };
  const std::vector<PasteboardItem> previous = {{"public.utf8-plain-text", "copied earlier"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakePasteboard pasteboard;
    FakeShortcutPoster poster;
    pasteboard.preset(previous);
    poster.setFailing(c.posterFails);
    pasteboard.setWriteFailure(c.writeFailure);
    if (c.readFailure) pasteboard.setReadFailure(*c.readFailure);
    NoteTemplatePaster paster(pasteboard, poster);
    EXPECT_EQ(paster.paste("<div>Hi</div>"), c.pasted);
    EXPECT_EQ(poster.posted().size(), c.shortcuts);
    if (c.shortcuts) {
      EXPECT_EQ(poster.posted()[0], kPasteShortcut);
    }
    if (c.readFailure) {
      EXPECT_TRUE(pasteboard.writes().empty());
    } else if (!c.writeFailure) {
      const auto writes = pasteboard.writes();
      ASSERT_EQ(writes.size(), 2u);
      EXPECT_EQ(writes[0], (std::vector<PasteboardItem>{{"public.html", "<div>Hi</div>"}}));
      EXPECT_EQ(writes[1], previous);
      EXPECT_EQ(pasteboard.contents(), previous);
    }
  }
}

}  // namespace
}  // namespace zephyl::editor
