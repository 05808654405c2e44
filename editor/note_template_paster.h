// Pastes expanded template HTML into the focused note: the HTML goes onto the
// pasteboard as rich text, Command+V is posted to Notes, and the pasteboard's
// previous contents are put back.
#pragma once

#include <string>

#include "editor/pasteboard.h"
#include "editor/shortcut_poster.h"

namespace zephyl::editor {

class NoteTemplatePaster {
 public:
  // Both must outlive the paster.
  NoteTemplatePaster(Pasteboard& pasteboard, ShortcutPoster& poster)
      : pasteboard_(pasteboard), poster_(poster) {}

  // True when the HTML was placed and Command+V posted; false (logged) when the
  // pasteboard cannot be used or the shortcut cannot be posted, in which case
  // the caller reports "Could not paste Markdown". The previous contents are
  // restored whenever they were read.
  bool paste(const std::string& html);

 private:
  Pasteboard& pasteboard_;
  ShortcutPoster& poster_;
};

}  // namespace zephyl::editor
