#include "platform/linux/linux_pasteboard.h"

#include <gtest/gtest.h>

#include "editor/note_template_paster.h"
#include "platform/testing/fake_shortcut_poster.h"

namespace zephyl::platform {
namespace {

TEST(LinuxPasteboard, ReportsUnavailableSoNoTemplateIsPasted) {
  LinuxPasteboard pasteboard;
  for (int call = 0; call < 2; ++call) {
    try {
      if (call == 0)
        pasteboard.contents();
      else
        pasteboard.setContents({{"public.html", "<div>x</div>"}});
      FAIL() << "the Linux pasteboard answered call " << call;
    } catch (const editor::PasteboardError& error) {
      EXPECT_EQ(error.code(), editor::PasteboardError::Code::kUnavailable);
    }
  }
  testing::FakeShortcutPoster poster;
  editor::NoteTemplatePaster paster(pasteboard, poster);
  EXPECT_FALSE(paster.paste("<div>x</div>"));
  EXPECT_TRUE(poster.posted().empty());
}

}  // namespace
}  // namespace zephyl::platform
