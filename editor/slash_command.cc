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
      builtIn("ask-ai", "Ask AI", Kind::kAskAI, "ai_cute_re", "sparkles",
              {"ask", "ai", "wen", "问", "質問", "demander", "fragen", "chiedi", "질문", "perguntar",
               "preguntar"}),
      builtIn("title", "Title", Kind::kFormatTitle, "heading_1_cute_re", "textformat.size.larger",
              {"title", "h1", "biaoti", "标题", "標題", "タイトル", "titre", "titel", "titolo", "제목",
               "título"}),
      builtIn("heading", "Heading", Kind::kFormatHeading, "heading_2_cute_re", "textformat.size",
              {"heading", "h2", "xiao biaoti", "xiaobiaoti", "小标题", "小標題", "見出し", "intertitre",
               "zwischenüberschrift", "intestazione", "소제목", "cabeçalho", "encabezado"}),
      builtIn("subheading", "Subheading", Kind::kFormatSubheading, "heading_3_cute_re", "textformat",
              {"subheading", "h3", "fu biaoti", "fubiaoti", "副标题", "副標題", "小見出し", "sous-titre",
               "unterüberschrift", "sottotitolo", "부제목", "subtítulo"}),
      builtIn("body", "Body", Kind::kFormatBody, "font_cute_re", "textformat",
              {"body", "zhengwen", "正文", "本文", "corps", "paragraphe", "absatz", "paragrafo", "본문",
               "corpo", "cuerpo"}),
      builtIn("checklist", "Checklist", Kind::kFormatChecklist, "list_check_3_cute_re", "checklist",
              {"checklist", "todo", "task", "qingdan", "清单", "清單", "チェック", "tâches", "checkliste",
               "attività", "할 일", "tarefas"}),
      builtIn("bulleted-list", "Bulleted List", Kind::kFormatBulletedList, "list_check_cute_re",
              "list.bullet",
              {"bullet", "bullets", "ul", "bulleted list", "unordered list", "xiangmu", "项目", "項目",
               "箇条書き", "puces", "aufzählung", "puntato", "글머리", "marcadores", "viñetas"}),
      builtIn("numbered-list", "Numbered List", Kind::kFormatNumberedList, "list_ordered_cute_re",
              "list.number",
              {"number", "numbers", "ol", "numbered list", "ordered list", "bianhao", "编号", "編號",
               "番号付き", "numérotée", "nummerierung", "numerato", "번호 매기기", "numerada"}),
      builtIn("monostyled", "Code Block", Kind::kFormatMonostyled, "code_cute_re",
              "chevron.left.forwardslash.chevron.right",
              {"code", "code block", "monostyled", "daima", "代码", "程式碼", "コード", "코드", "código",
               "codice"}),
      builtIn("quote", "Block Quote", Kind::kFormatQuote, "quote_left_cute_re", "quote.opening",
              {"quote", "blockquote", "yinyong", "引用", "citation", "zitat", "citazione", "인용", "citação",
               "cita"}),
      builtIn("table", "Table", Kind::kInsertTable, "table_3_cute_re", "tablecells",
              {"table", "biaoge", "表格", "表", "tableau", "tabelle", "tabella", "표", "tabela", "tabla"}),
      builtIn("date", "Date", Kind::kInsertDate, "calendar_2_cute_re", "calendar",
              {"date", "riqi", "日期", "日付", "datum", "data", "날짜", "fecha"}),
      builtIn("time", "Time", Kind::kInsertTime, "time_cute_re", "clock",
              {"time", "shijian", "时间", "時間", "heure", "uhrzeit", "ora", "시간", "hora"}),
      builtIn("date-time", "Date & Time", Kind::kInsertDateTime, "", "calendar",
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
  command.kind = Kind::kInsertTemplate;
  command.noteTemplate = noteTemplate;
  return command;
}

std::optional<NotesFormatCommand> notesFormatCommandForSlashKind(SlashCommandKind kind) {
  switch (kind) {
    case Kind::kFormatTitle:
      return NotesFormatCommand::kTitle;
    case Kind::kFormatHeading:
      return NotesFormatCommand::kHeading;
    case Kind::kFormatSubheading:
      return NotesFormatCommand::kSubheading;
    case Kind::kFormatBody:
      return NotesFormatCommand::kBody;
    case Kind::kFormatChecklist:
      return NotesFormatCommand::kChecklist;
    case Kind::kFormatBulletedList:
      return NotesFormatCommand::kBulletedList;
    case Kind::kFormatNumberedList:
      return NotesFormatCommand::kNumberedList;
    case Kind::kFormatMonostyled:
      return NotesFormatCommand::kMonostyled;
    case Kind::kFormatQuote:
      return NotesFormatCommand::kQuote;
    case Kind::kInsertTable:
      return NotesFormatCommand::kTable;
    case Kind::kInsertTemplate:
    case Kind::kAskAI:
    case Kind::kInsertDate:
    case Kind::kInsertTime:
    case Kind::kInsertDateTime:
      return std::nullopt;
  }
  return std::nullopt;
}

std::string_view slashCommandKindName(SlashCommandKind kind) {
  switch (kind) {
    case Kind::kInsertTemplate:
      return "insertTemplate";
    case Kind::kAskAI:
      return "askAI";
    case Kind::kFormatTitle:
      return "formatTitle";
    case Kind::kFormatHeading:
      return "formatHeading";
    case Kind::kFormatSubheading:
      return "formatSubheading";
    case Kind::kFormatBody:
      return "formatBody";
    case Kind::kFormatChecklist:
      return "formatChecklist";
    case Kind::kFormatBulletedList:
      return "formatBulletedList";
    case Kind::kFormatNumberedList:
      return "formatNumberedList";
    case Kind::kInsertDate:
      return "insertDate";
    case Kind::kInsertTime:
      return "insertTime";
    case Kind::kInsertDateTime:
      return "insertDateTime";
    case Kind::kFormatMonostyled:
      return "formatMonostyled";
    case Kind::kFormatQuote:
      return "formatQuote";
    case Kind::kInsertTable:
      return "insertTable";
  }
  return "";
}

}  // namespace zephyl::editor
