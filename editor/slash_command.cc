#include "editor/slash_command.h"

namespace zephyl::editor {
namespace {

using Kind = SlashCommandKind;

SlashCommand builtIn(std::string identifier, std::string title, Kind kind, std::string assetName,
                     std::string systemImage, std::vector<std::string> aliases) {
  SlashCommand command;
  command.identifier = std::move(identifier);
  command.titleKey = std::move(title);
  command.kind = kind;
  command.assetName = std::move(assetName);
  command.systemImage = std::move(systemImage);
  command.aliases = std::move(aliases);
  return command;
}

std::vector<SlashCommand> makeBuiltIns() {
  return {
      builtIn("ask-ai", "Ask AI", Kind::askAI, "ai_cute_re", "sparkles",
              {"ask", "ai", "wen", "问", "質問", "demander", "fragen", "chiedi", "질문", "perguntar",
               "preguntar"}),
      builtIn("title", "Title", Kind::formatTitle, "heading_1_cute_re", "textformat.size.larger",
              {"title", "h1", "biaoti", "标题", "標題", "タイトル", "titre", "titel", "titolo", "제목",
               "título"}),
      builtIn("heading", "Heading", Kind::formatHeading, "heading_2_cute_re", "textformat.size",
              {"heading", "h2", "xiao biaoti", "xiaobiaoti", "小标题", "小標題", "見出し", "intertitre",
               "zwischenüberschrift", "intestazione", "소제목", "cabeçalho", "encabezado"}),
      builtIn("subheading", "Subheading", Kind::formatSubheading, "heading_3_cute_re", "textformat",
              {"subheading", "h3", "fu biaoti", "fubiaoti", "副标题", "副標題", "小見出し", "sous-titre",
               "unterüberschrift", "sottotitolo", "부제목", "subtítulo"}),
      builtIn("body", "Body", Kind::formatBody, "font_cute_re", "textformat",
              {"body", "zhengwen", "正文", "本文", "corps", "paragraphe", "absatz", "paragrafo", "본문",
               "corpo", "cuerpo"}),
      builtIn("checklist", "Checklist", Kind::formatChecklist, "list_check_3_cute_re", "checklist",
              {"checklist", "todo", "task", "qingdan", "清单", "清單", "チェック", "tâches", "checkliste",
               "attività", "할 일", "tarefas"}),
      builtIn("bulleted-list", "Bulleted List", Kind::formatBulletedList, "list_check_cute_re", "list.bullet",
              {"bullet", "bullets", "ul", "bulleted list", "unordered list", "xiangmu", "项目", "項目",
               "箇条書き", "puces", "aufzählung", "puntato", "글머리", "marcadores", "viñetas"}),
      builtIn("numbered-list", "Numbered List", Kind::formatNumberedList, "list_ordered_cute_re",
              "list.number",
              {"number", "numbers", "ol", "numbered list", "ordered list", "bianhao", "编号", "編號",
               "番号付き", "numérotée", "nummerierung", "numerato", "번호 매기기", "numerada"}),
      builtIn("monostyled", "Code Block", Kind::formatMonostyled, "code_cute_re",
              "chevron.left.forwardslash.chevron.right",
              {"code", "code block", "monostyled", "daima", "代码", "程式碼", "コード", "코드", "código",
               "codice"}),
      builtIn("quote", "Block Quote", Kind::formatQuote, "quote_left_cute_re", "quote.opening",
              {"quote", "blockquote", "yinyong", "引用", "citation", "zitat", "citazione", "인용", "citação",
               "cita"}),
      builtIn("table", "Table", Kind::insertTable, "table_3_cute_re", "tablecells",
              {"table", "biaoge", "表格", "表", "tableau", "tabelle", "tabella", "표", "tabela", "tabla"}),
      builtIn("date", "Date", Kind::insertDate, "calendar_2_cute_re", "calendar",
              {"date", "riqi", "日期", "日付", "datum", "data", "날짜", "fecha"}),
      builtIn("time", "Time", Kind::insertTime, "time_cute_re", "clock",
              {"time", "shijian", "时间", "時間", "heure", "uhrzeit", "ora", "시간", "hora"}),
      builtIn("date-time", "Date & Time", Kind::insertDateTime, "", "calendar",
              {"datetime", "date and time", "riqi shijian", "日期时间", "日期時間", "日時", "date et heure",
               "datum und uhrzeit", "data e ora", "날짜 시간", "data e hora", "fecha y hora"}),
  };
}

}  // namespace

const std::vector<SlashCommand>& builtInSlashCommands() {
  static const std::vector<SlashCommand> kCommands = makeBuiltIns();
  return kCommands;
}

SlashCommand slashCommandForTemplate(const NoteTemplate& noteTemplate) {
  SlashCommand command;
  command.identifier = "template:" + noteTemplate.noteID;
  command.titleKey = noteTemplate.displayTitle;
  command.templateTitle = noteTemplate.displayTitle;
  command.systemImage = "doc.text";
  command.aliases = {"template"};
  command.kind = Kind::insertTemplate;
  command.noteTemplate = noteTemplate;
  return command;
}

std::optional<NotesFormatCommand> notesFormatCommandForSlashKind(SlashCommandKind kind) {
  switch (kind) {
    case Kind::formatTitle:
      return NotesFormatCommand::title;
    case Kind::formatHeading:
      return NotesFormatCommand::heading;
    case Kind::formatSubheading:
      return NotesFormatCommand::subheading;
    case Kind::formatBody:
      return NotesFormatCommand::body;
    case Kind::formatChecklist:
      return NotesFormatCommand::checklist;
    case Kind::formatBulletedList:
      return NotesFormatCommand::bulletedList;
    case Kind::formatNumberedList:
      return NotesFormatCommand::numberedList;
    case Kind::formatMonostyled:
      return NotesFormatCommand::monostyled;
    case Kind::formatQuote:
      return NotesFormatCommand::quote;
    case Kind::insertTable:
      return NotesFormatCommand::table;
    case Kind::insertTemplate:
    case Kind::askAI:
    case Kind::insertDate:
    case Kind::insertTime:
    case Kind::insertDateTime:
      return std::nullopt;
  }
  return std::nullopt;
}

std::string_view slashCommandKindName(SlashCommandKind kind) {
  switch (kind) {
    case Kind::insertTemplate:
      return "insertTemplate";
    case Kind::askAI:
      return "askAI";
    case Kind::formatTitle:
      return "formatTitle";
    case Kind::formatHeading:
      return "formatHeading";
    case Kind::formatSubheading:
      return "formatSubheading";
    case Kind::formatBody:
      return "formatBody";
    case Kind::formatChecklist:
      return "formatChecklist";
    case Kind::formatBulletedList:
      return "formatBulletedList";
    case Kind::formatNumberedList:
      return "formatNumberedList";
    case Kind::insertDate:
      return "insertDate";
    case Kind::insertTime:
      return "insertTime";
    case Kind::insertDateTime:
      return "insertDateTime";
    case Kind::formatMonostyled:
      return "formatMonostyled";
    case Kind::formatQuote:
      return "formatQuote";
    case Kind::insertTable:
      return "insertTable";
  }
  return "";
}

}  // namespace zephyl::editor
