#include "notes_store/notes_database_statements.h"

#include <utility>

#include "notes_store/folder_display_path.h"
#include "notes_store/note_body_decoder.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {
namespace {

// The blob column `column`, NULL when its stored length is already past
// kMaxInflatedNoteBodyBytes (inflation never shrinks it below that), then whether
// it was left out. length() of a blob reads only its header, so such a body is
// never loaded into memory.
std::string boundedBody(std::string_view column) {
  const std::string limit = std::to_string(kMaxInflatedNoteBodyBytes);
  const std::string over = "length(" + std::string(column) + ") > " + limit;
  return "CASE WHEN " + over + " THEN NULL ELSE " + std::string(column) + " END, COALESCE(" + over + ", 0)";
}

// One "alias.column = account.z_pk" term per candidate column that exists,
// joined with OR. Columns other than the account links always exist.
std::string accountJoin(const NotesSchema& schema,
                        std::initializer_list<std::pair<std::string_view, std::string_view>> candidates) {
  std::string condition;
  for (const auto& [alias, column] : candidates) {
    const bool optional = column == "zowner" || column == "zaccount4" || column == "zaccount7";
    if (optional && !schema.has(column)) continue;
    if (!condition.empty()) condition += " OR ";
    condition.append(alias).append(".").append(column).append(" = account.z_pk");
  }
  // A library with none of the link columns still lists its notes, without accounts.
  return condition.empty() ? "0" : condition;
}

std::string folderURI(std::string_view alias) {
  return NotesObjectIdentifier::sqlExpression(NotesObjectKind::kFolder, "metadata.z_uuid",
                                              std::string(alias) + ".z_pk");
}

std::string noteURI(std::string_view alias) {
  return NotesObjectIdentifier::sqlExpression(NotesObjectKind::kNote, "metadata.z_uuid",
                                              std::string(alias) + ".z_pk");
}

// The folder path separator as an SQL string literal.
const std::string kSeparator = "'" + std::string(kFolderPathSeparator) + "'";

// "Account › Folder" when exactly one account matched, else the folder title.
const std::string kLocation =
    "trim(CASE WHEN count(DISTINCT account.z_pk) = 1 THEN coalesce(min(account.zname), '') || " + kSeparator +
    " ELSE '' END || coalesce(folder.ztitle2, ''))";

std::string folderNotes(const NotesSchema& schema, NamedFolderSet set, bool withBodies) {
  std::string sql =
      "SELECT COALESCE(CAST(folder.z_pk AS TEXT), '') AS folderID, "
      "COALESCE(folder.ztitle2, '') AS folderName, "
      "COALESCE(account.zname, '') AS accountName, ";
  if (withBodies) sql += "COALESCE(CAST(note.z_pk AS TEXT), '') AS notePK, ";
  sql += "CASE WHEN note.z_pk IS NULL THEN '' ELSE " + noteURI("note") +
         " END AS noteID, "
         "COALESCE(note.ztitle1, '') AS title, "
         "note.zmodificationdate1 AS modifiedAt";
  if (withBodies) {
    sql += ", COALESCE(note.zsnippet, '') AS preview, ";
    // A store without the note-data table still lists its templates, without bodies.
    sql += schema.hasNoteDataTable ? "notedata.zdata AS bodyData" : "NULL AS bodyData";
  }
  sql +=
      " FROM ziccloudsyncingobject AS folder"
      " LEFT JOIN ziccloudsyncingobject AS note ON note.zfolder = folder.z_pk"
      " AND note.ztitle1 IS NOT NULL AND note.z_pk IS NOT NULL"
      " AND COALESCE(note.zmarkedfordeletion, 0) != 1"
      " LEFT JOIN ziccloudsyncingobject AS account ON " +
      accountJoin(
          schema,
          {{"note", "zaccount4"}, {"note", "zaccount7"}, {"folder", "zaccount4"}, {"folder", "zaccount7"}});
  if (withBodies && schema.hasNoteDataTable) {
    sql += " LEFT JOIN zicnotedata AS notedata ON note.znotedata = notedata.z_pk";
  }
  sql +=
      " JOIN z_metadata AS metadata ON 1 = 1"
      " WHERE folder.ztitle2 IN (" +
      quotedNameList(set) +
      ") AND folder.zparent IS NULL"
      " AND COALESCE(folder.zmarkedfordeletion, 0) != 1"
      " AND COALESCE(folder.zfoldertype, 0) != 1";
  sql += withBodies ? " ORDER BY note.zmodificationdate1 DESC, title COLLATE NOCASE"
                    : " ORDER BY folderID, noteID";
  return sql;
}

}  // namespace

NotesSchema NotesSchema::complete() {
  NotesSchema schema;
  schema.objectColumns = {"z_pk",
                          "zidentifier",
                          "ztitle1",
                          "ztitle2",
                          "zname",
                          "zsnippet",
                          "zfolder",
                          "zparent",
                          "zowner",
                          "zaccount4",
                          "zaccount7",
                          "znotedata",
                          "zmarkedfordeletion",
                          "zfoldertype",
                          "zispasswordprotected",
                          "zcreationdate3",
                          "zmodificationdate1",
                          "zuserrecordname",
                          "znote",
                          "znote1",
                          "ztypeuti",
                          "ztypeuti1",
                          "ztokencontentidentifier",
                          "zmergeabledata",
                          "zmergeabledata1",
                          "zalttext"};
  schema.hasNoteDataTable = true;
  return schema;
}

const std::vector<std::string>& namedFolderTitles(NamedFolderSet set) {
  static const std::vector<std::string> kTemplates = {"Templates", "templates"};
  static const std::vector<std::string> kSkills = {"Skills", "skills"};
  switch (set) {
    case NamedFolderSet::kTemplates:
      return kTemplates;
    case NamedFolderSet::kSkills:
      return kSkills;
  }
  return kTemplates;
}

std::string quotedNameList(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) {
    if (!list.empty()) list += ", ";
    list += '\'';
    for (char c : name) {
      if (c == '\'') list += '\'';
      list += c;
    }
    list += '\'';
  }
  return list;
}

const std::string& quotedNameList(NamedFolderSet set) {
  // Function-local statics: built once per process, thread-safe.
  static const std::string kTemplates = quotedNameList(namedFolderTitles(NamedFolderSet::kTemplates));
  static const std::string kSkills = quotedNameList(namedFolderTitles(NamedFolderSet::kSkills));
  return set == NamedFolderSet::kTemplates ? kTemplates : kSkills;
}

namespace statements {

std::string folderTree(const NotesSchema& schema) {
  return "WITH RECURSIVE folder_tree(folderPK, id, title, parentPK, path, componentPath, modifiedAt) AS ("
         " SELECT folder.z_pk, " +
         folderURI("folder") +
         ", COALESCE(folder.ztitle2, ''), folder.zparent,"
         " CASE WHEN COALESCE(account.zname, '') = '' THEN COALESCE(folder.ztitle2, '')"
         " ELSE account.zname || " +
         kSeparator +
         " || COALESCE(folder.ztitle2, '') END,"
         " CASE WHEN COALESCE(account.zname, '') = ''"
         " THEN printf('%d:%s', length(CAST(COALESCE(folder.ztitle2, '') AS BLOB)), COALESCE(folder.ztitle2, "
         "''))"
         " ELSE printf('%d:%s%d:%s', length(CAST(account.zname AS BLOB)), account.zname,"
         " length(CAST(COALESCE(folder.ztitle2, '') AS BLOB)), COALESCE(folder.ztitle2, '')) END,"
         " folder.zmodificationdate1"
         " FROM ziccloudsyncingobject AS folder"
         " JOIN z_metadata AS metadata ON 1 = 1"
         " LEFT JOIN ziccloudsyncingobject AS account ON " +
         accountJoin(schema, {{"folder", "zowner"},
                              {"folder", "zaccount4"},
                              {"folder", "zaccount7"},
                              {"folder", "zfolder"}}) +
         " WHERE folder.ztitle2 IS NOT NULL AND folder.z_pk IS NOT NULL AND folder.zparent IS NULL"
         " AND COALESCE(folder.zmarkedfordeletion, 0) != 1 AND COALESCE(folder.zfoldertype, 0) != 1"
         " UNION ALL"
         " SELECT child.z_pk, " +
         folderURI("child") +
         ", COALESCE(child.ztitle2, ''), child.zparent,"
         " folder_tree.path || " +
         kSeparator +
         " || COALESCE(child.ztitle2, ''),"
         " folder_tree.componentPath || printf('%d:%s', length(CAST(COALESCE(child.ztitle2, '') AS BLOB)),"
         " COALESCE(child.ztitle2, '')),"
         " child.zmodificationdate1"
         " FROM ziccloudsyncingobject AS child"
         " JOIN folder_tree ON child.zparent = folder_tree.folderPK"
         " JOIN z_metadata AS metadata ON 1 = 1"
         " WHERE child.ztitle2 IS NOT NULL AND child.z_pk IS NOT NULL"
         " AND COALESCE(child.zmarkedfordeletion, 0) != 1 AND COALESCE(child.zfoldertype, 0) != 1"
         ")"
         " SELECT id, title, path, componentPath, modifiedAt FROM folder_tree"
         " ORDER BY title COLLATE NOCASE ASC LIMIT 2000";
}

std::string noteList(const NotesSchema& schema) {
  return "SELECT " + noteURI("note") +
         " AS id,"
         " note.zidentifier AS uuid,"
         " note.ztitle1 AS title, " +
         folderURI("folder") +
         " AS folderID,"
         " COALESCE(account.zname, '') AS accountName,"
         " COALESCE(folder.ztitle2, '') AS folderName,"
         " note.zsnippet AS preview,"
         " note.znotedata AS noteDataPK,"
         " COALESCE(note.zispasswordprotected, 0) AS isPasswordProtected,"
         " note.zcreationdate3 AS createdAt,"
         " note.zmodificationdate1 AS modifiedAt"
         " FROM ziccloudsyncingobject AS note"
         " JOIN ziccloudsyncingobject AS folder ON note.zfolder = folder.z_pk"
         " JOIN z_metadata AS metadata ON 1 = 1"
         " LEFT JOIN ziccloudsyncingobject AS account ON " +
         accountJoin(schema, {{"note", "zaccount4"},
                              {"note", "zaccount7"},
                              {"folder", "zowner"},
                              {"folder", "zaccount4"},
                              {"folder", "zaccount7"},
                              {"folder", "zfolder"}}) +
         " WHERE note.ztitle1 IS NOT NULL AND note.zidentifier IS NOT NULL"
         " AND note.zmodificationdate1 IS NOT NULL AND note.z_pk IS NOT NULL"
         // Without COALESCE on purpose: a NULL flag drops the row.
         " AND note.zmarkedfordeletion != 1 AND folder.zmarkedfordeletion != 1"
         " AND COALESCE(folder.zfoldertype, 0) != 1"
         // The rows come in key order anyway (the note table is scanned by key):
         // said, so that parts read apart join up in that order.
         " AND note.z_pk BETWEEN ? AND ? ORDER BY note.z_pk";
}

std::string noteListWithoutJoins(const NotesSchema& schema) {
  const auto link = [&](std::string_view column) {
    return schema.has(column) ? "note." + std::string(column) : std::string("NULL");
  };
  return "SELECT note.z_pk, note.zidentifier, note.ztitle1, note.zfolder, note.zsnippet, note.znotedata,"
         " COALESCE(note.zispasswordprotected, 0), note.zcreationdate3, note.zmodificationdate1, " +
         link("zaccount4") + ", " + link("zaccount7") +
         " FROM ziccloudsyncingobject AS note"
         // Joined as noteList joins it: a store without metadata lists no notes.
         " JOIN z_metadata AS metadata ON 1 = 1"
         " WHERE note.ztitle1 IS NOT NULL AND note.zidentifier IS NOT NULL"
         " AND note.zmodificationdate1 IS NOT NULL AND note.z_pk IS NOT NULL"
         " AND note.zmarkedfordeletion != 1 AND note.zfolder IS NOT NULL"
         " AND note.z_pk BETWEEN ? AND ? ORDER BY note.z_pk";
}

std::string linkedObjects(const NotesSchema& schema) {
  // Each link column is read from its index, distinct values only: a few
  // thousand keys, not a pass over every row.
  std::string keys;
  std::string columns;
  for (const std::string_view column : {"zowner", "zaccount4", "zaccount7", "zfolder"}) {
    const bool present = column == "zfolder" || schema.has(column);
    columns.append(", ").append(present ? column : "NULL");
    if (!present) continue;
    if (!keys.empty()) keys += " UNION ";
    keys.append("SELECT DISTINCT ").append(column).append(" FROM ziccloudsyncingobject WHERE ");
    keys.append(column).append(" IS NOT NULL");
  }
  return "SELECT z_pk, COALESCE(ztitle2, ''), zmarkedfordeletion, COALESCE(zfoldertype, 0)" + columns +
         ", COALESCE(zname, '') FROM ziccloudsyncingobject WHERE z_pk IN (" + keys + ")";
}

std::string noteByKey() {
  return "SELECT note.z_pk AS notePK, COALESCE(note.ztitle1, '') AS title,"
         " COALESCE(note.zsnippet, '') AS preview, " +
         boundedBody("notedata.zdata") +
         " FROM ziccloudsyncingobject AS note"
         " LEFT JOIN zicnotedata AS notedata ON note.znotedata = notedata.z_pk"
         " WHERE note.z_pk = ? AND COALESCE(note.zmarkedfordeletion, 0) != 1"
         " LIMIT 1";
}

std::string passwordProtection() {
  return "SELECT COALESCE(zispasswordprotected, 0) FROM ziccloudsyncingobject WHERE z_pk = ? LIMIT 1";
}

std::string inlineAttachmentTexts() {
  return "SELECT zidentifier, zalttext FROM ziccloudsyncingobject"
         " WHERE znote1 = ? AND zidentifier IS NOT NULL AND zalttext IS NOT NULL"
         " AND COALESCE(zmarkedfordeletion, 0) != 1";
}

std::string tablesOfNote() {
  return "SELECT COALESCE(zidentifier, '') AS identifier, zmergeabledata1 AS mergeableData1,"
         " zmergeabledata AS mergeableData"
         " FROM ziccloudsyncingobject"
         " WHERE znote = ? AND COALESCE(zmarkedfordeletion, 0) != 1"
         " AND ztypeuti = 'com.apple.notes.table'";
}

namespace {

std::string placeholders(size_t count) {
  std::string list = "(";
  for (size_t i = 0; i < count; ++i) list += i == 0 ? "?" : ", ?";
  return list + ")";
}

}  // namespace

std::string noteBodiesByKey(size_t count) {
  return "SELECT z_pk, " + boundedBody("zdata") + " FROM zicnotedata WHERE z_pk IN " + placeholders(count);
}

std::string notePreviewsByKey(size_t count) {
  return "SELECT z_pk, COALESCE(zsnippet, '') FROM ziccloudsyncingobject WHERE z_pk IN " +
         placeholders(count);
}

std::string notesWithTables() {
  return "SELECT DISTINCT znote FROM ziccloudsyncingobject"
         " WHERE COALESCE(zmarkedfordeletion, 0) != 1 AND ztypeuti = 'com.apple.notes.table'"
         " AND znote IS NOT NULL";
}

std::string notesWithInlineAttachmentTexts() {
  return "SELECT DISTINCT znote1 FROM ziccloudsyncingobject"
         " WHERE zidentifier IS NOT NULL AND zalttext IS NOT NULL"
         " AND COALESCE(zmarkedfordeletion, 0) != 1 AND znote1 IS NOT NULL";
}

std::string folderNotesWithBodies(const NotesSchema& schema, NamedFolderSet set) {
  return folderNotes(schema, set, true);
}

std::string folderNotesWithoutBodies(const NotesSchema& schema, NamedFolderSet set) {
  return folderNotes(schema, set, false);
}

std::string linkAttachments(const NotesSchema& schema, int* parameterCount) {
  std::string predicate;
  int count = 0;
  if (schema.has("ztypeuti") && schema.has("ztypeuti1")) {
    predicate = "link.ztypeuti = ? OR link.ztypeuti1 = ?";
    count = 2;
  } else if (schema.has("ztypeuti")) {
    predicate = "link.ztypeuti = ?";
    count = 1;
  } else if (schema.has("ztypeuti1")) {
    predicate = "link.ztypeuti1 = ?";
    count = 1;
  } else {
    predicate = "0";  // no type column: no link can be recognised
  }
  if (parameterCount != nullptr) *parameterCount = count;
  return "SELECT link.znote1, link.zidentifier, link.ztokencontentidentifier, source.z_pk,"
         " source.zidentifier, coalesce(source.ztitle1, ''), " +
         kLocation +
         ", coalesce(source.zmarkedfordeletion, 0)"
         " FROM ziccloudsyncingobject link"
         " LEFT JOIN ziccloudsyncingobject source ON link.znote1 = source.z_pk"
         " LEFT JOIN ziccloudsyncingobject folder ON source.zfolder = folder.z_pk"
         " LEFT JOIN ziccloudsyncingobject account ON " +
         accountJoin(schema, {{"source", "zaccount4"},
                              {"source", "zaccount7"},
                              {"folder", "zowner"},
                              {"folder", "zaccount4"},
                              {"folder", "zaccount7"}}) +
         " WHERE (" + predicate +
         ")"
         " AND coalesce(link.zmarkedfordeletion, 0) != 1"
         " GROUP BY link.z_pk";
}

std::string linkTargets(const NotesSchema& schema) {
  return "SELECT target.z_pk, target.zidentifier, coalesce(target.ztitle1, ''), " + kLocation +
         ", CASE WHEN count(DISTINCT account.z_pk) = 1 THEN min(account.zuserrecordname) END"
         " FROM ziccloudsyncingobject target"
         " LEFT JOIN ziccloudsyncingobject folder ON target.zfolder = folder.z_pk"
         " LEFT JOIN ziccloudsyncingobject account ON " +
         accountJoin(schema, {{"target", "zaccount4"},
                              {"target", "zaccount7"},
                              {"folder", "zowner"},
                              {"folder", "zaccount4"},
                              {"folder", "zaccount7"}}) +
         " WHERE target.zidentifier IS NOT NULL AND target.ztitle1 IS NOT NULL"
         " AND target.zfolder IS NOT NULL AND coalesce(target.zmarkedfordeletion, 0) != 1"
         " GROUP BY target.z_pk, target.zidentifier, target.ztitle1, folder.ztitle2";
}

std::string candidateBodies() {
  return "SELECT source.z_pk, " + boundedBody("body.zdata") +
         "\n"
         "FROM ziccloudsyncingobject source\n"
         "LEFT JOIN zicnotedata body ON source.znotedata = body.z_pk\n"
         "WHERE source.zidentifier IS NOT NULL\n"
         "  AND source.ztitle1 IS NOT NULL\n"
         "  AND source.zfolder IS NOT NULL\n"
         "  AND coalesce(source.zmarkedfordeletion, 0) != 1";
}

std::string tableColumns(std::string_view table) {
  return "SELECT lower(name) FROM pragma_table_info('" + std::string(table) + "')";
}

}  // namespace statements
}  // namespace zephyl::notes_store
