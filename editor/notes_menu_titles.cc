#include "editor/notes_menu_titles.h"

#include <algorithm>

namespace zephyl::editor {

const std::vector<std::string>& NotesMenuTitles::formatMenu() {
  static const std::vector<std::string> titles = {
      "Format", "Formato", "Формат", "格式", "포맷", "Opmaak", "Biçim", "फ़ॉर्मैट", "รูปแบบ", "フォーマット",
  };
  return titles;
}

const std::vector<std::string>& NotesMenuTitles::fontMenu() {
  static const std::vector<std::string> titles = {
      "Font",     "Schrift", "Police", "Tipo de letra", "Fonte",         "Lettertype", "Шрифт",
      "フォント", "字体",    "字體",   "서체",          "Γραμματοσειρά", "फ़ॉन्ट",       "แบบอักษร",
  };
  return titles;
}

const std::vector<std::string>& NotesMenuTitles::editMenu() {
  static const std::vector<std::string> titles = {
      "Edit",     "Bearbeiten", "Édition", "Edición", "Modifica", "Editar", "Wijzig",
      "Redigera", "Правка",     "Düzen",   "編集",    "编辑",     "編輯",   "편집",
  };
  return titles;
}

const std::vector<std::string>& NotesMenuTitles::item(NotesFormatCommand command) {
  using C = NotesFormatCommand;
  static const std::vector<std::string> title = {"Title", "Titel", "Titolo", "Título", "Название"};
  static const std::vector<std::string> heading = {"Heading", "Überschrift", "Intestazione", "Encabezado",
                                                   "Заголовок"};
  static const std::vector<std::string> subheading = {
      "Subheading",       "Sottointestazione", "Sous-titre secondaire",
      "Titre secondaire", "Unterüberschrift",  "Подзаголовок",
  };
  static const std::vector<std::string> body = {"Body", "Część główna", "Основний текст"};
  static const std::vector<std::string> checklist = {"Checklist"};
  static const std::vector<std::string> monostyled = {
      "Monostyled", "Style à largeur fixe", "Estilo de largura fixa", "Моноширинный шрифт", "모노 스타일",
  };
  static const std::vector<std::string> quote = {"Block Quote"};
  static const std::vector<std::string> table = {"Table",   "Tabelle", "Tableau", "Tabla",
                                                 "Tabella", "Tabel",   "Таблица", "表格"};
  static const std::vector<std::string> bold = {"Bold",    "Fett", "Gras",   "Negrita",  "Grassetto",
                                                "Negrito", "Vet",  "Жирный", "ボールド", "粗体"};
  static const std::vector<std::string> italic = {"Italic",  "Kursiv",  "Italique", "Cursiva",    "Corsivo",
                                                  "Itálico", "Cursief", "Курсив",   "イタリック", "斜体"};
  static const std::vector<std::string> underline = {
      "Underline",  "Unterstrichen", "Souligné",     "Subrayado",      "Sottolineato",
      "Sublinhado", "Onderstreept",  "Подчеркнутый", "アンダーライン", "下划线"};
  static const std::vector<std::string> strikethrough = {"Strikethrough", "Durchgestrichen", "Barré",
                                                         "Tachado",       "Barrato",         "Зачеркнутый",
                                                         "取り消し線",    "删除线"};
  static const std::vector<std::string> addLink = {"Add Link…", "Add Link..."};
  static const std::vector<std::string> bulletedList = {
      "Bulleted List", "Aufzählungsliste", "Lista con viñetas", "Lista punktowana", "Madde İşaretli Liste",
  };
  static const std::vector<std::string> dashedList = {"Dashed List"};
  static const std::vector<std::string> numberedList = {"Numbered List"};
  static const std::vector<std::string> highlight = {"Highlight"};
  switch (command) {
    case C::kTitle:
      return title;
    case C::kHeading:
      return heading;
    case C::kSubheading:
      return subheading;
    case C::kBody:
      return body;
    case C::kChecklist:
      return checklist;
    case C::kMonostyled:
      return monostyled;
    case C::kQuote:
      return quote;
    case C::kTable:
      return table;
    case C::kBold:
      return bold;
    case C::kItalic:
      return italic;
    case C::kUnderline:
      return underline;
    case C::kStrikethrough:
      return strikethrough;
    case C::kAddLink:
      return addLink;
    case C::kBulletedList:
      return bulletedList;
    case C::kDashedList:
      return dashedList;
    case C::kNumberedList:
      return numberedList;
    case C::kHighlight:
      return highlight;
  }
  return title;
}

std::optional<NotesFormatCommand> NotesMenuTitles::commandForItemTitle(
    std::string_view title, const std::vector<NotesFormatCommand>& candidates) {
  for (NotesFormatCommand command : candidates) {
    const auto& titles = item(command);
    if (std::find(titles.begin(), titles.end(), title) != titles.end()) return command;
  }
  return std::nullopt;
}

}  // namespace zephyl::editor
