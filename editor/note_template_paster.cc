#include "editor/note_template_paster.h"

#include "core/logger.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("NoteTemplateService");

}  // namespace

bool NoteTemplatePaster::paste(const std::string& html) {
  std::vector<PasteboardItem> previous;
  try {
    previous = pasteboard_.contents();
  } catch (const PasteboardError& error) {
    kLog.error() << "Could not read the pasteboard: " << error.description();
    return false;
  }
  bool pasted = false;
  try {
    pasteboard_.setContents({PasteboardItem{std::string(kPasteboardHTMLType), html}});
    pasted = poster_.post(kPasteShortcut);
    if (!pasted) kLog.error() << "Could not post the paste shortcut";
  } catch (const PasteboardError& error) {
    kLog.error() << "Could not write the template to the pasteboard: " << error.description();
  }
  try {
    pasteboard_.setContents(previous);
  } catch (const PasteboardError& error) {
    kLog.error() << "Could not restore the pasteboard: " << error.description();
  }
  return pasted;
}

}  // namespace zephyl::editor
