#include "notes_store/notes_database_statements.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

// The statements that run on the libraries the builder writes are read there
// (NotesDatabaseAccessTest: a body chunk's placeholders, a library without ZACCOUNT7, a store without note
// data); here, the schemas the builder cannot write and the quoting of names.

bool contains(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

NotesSchema without(std::initializer_list<const char*> columns) {
  NotesSchema schema = NotesSchema::complete();
  for (const char* column : columns) schema.objectColumns.erase(column);
  return schema;
}

TEST(NotesDatabaseStatements, NameListsDoubleQuotesAndAreBuiltPerSet) {
  EXPECT_EQ(quotedNameList({"O'Brien", "Templates", "''"}), "'O''Brien', 'Templates', ''''''");
  EXPECT_EQ(quotedNameList(NamedFolderSet::kTemplates), "'Templates', 'templates'");
  EXPECT_EQ(quotedNameList(NamedFolderSet::kSkills), "'Skills', 'skills'");
  EXPECT_EQ(&quotedNameList(NamedFolderSet::kSkills), &quotedNameList(NamedFolderSet::kSkills));
  EXPECT_TRUE(contains(statements::folderNotesWithBodies(NotesSchema::complete(), NamedFolderSet::kSkills),
                       "WHERE folder.ztitle2 IN ('Skills', 'skills') AND folder.zparent IS NULL"));
}

TEST(NotesDatabaseStatements, AccountJoinsUseOnlyColumnsThatExist) {
  const NotesSchema complete = NotesSchema::complete();
  EXPECT_TRUE(
      contains(statements::noteList(complete),
               "ON note.zaccount4 = account.z_pk OR note.zaccount7 = account.z_pk OR folder.zowner = "
               "account.z_pk OR folder.zaccount4 = account.z_pk OR folder.zaccount7 = account.z_pk OR "
               "folder.zfolder = account.z_pk"));
  EXPECT_TRUE(contains(statements::folderTree(complete),
                       "ON folder.zowner = account.z_pk OR folder.zaccount4 = account.z_pk OR "
                       "folder.zaccount7 = account.z_pk OR folder.zfolder = account.z_pk"));

  // With no account link at all the notes are still listed, without accounts.
  EXPECT_TRUE(contains(statements::linkTargets(without({"zaccount4", "zaccount7", "zowner"})),
                       "LEFT JOIN ziccloudsyncingobject account ON 0 WHERE"));
}

TEST(NotesDatabaseStatements, LinkTypePredicateFollowsTypeColumns) {
  struct Case {
    NotesSchema schema;
    const char* predicate;
    int parameters;
  };
  const Case cases[] = {
      {NotesSchema::complete(), "WHERE (link.ztypeuti = ? OR link.ztypeuti1 = ?) AND", 2},
      {without({"ztypeuti1"}), "WHERE (link.ztypeuti = ?) AND", 1},
      {without({"ztypeuti"}), "WHERE (link.ztypeuti1 = ?) AND", 1},
      {without({"ztypeuti", "ztypeuti1"}), "WHERE (0) AND", 0},
  };
  for (const Case& c : cases) {
    int parameters = -1;
    const std::string sql = statements::linkAttachments(c.schema, &parameters);
    EXPECT_TRUE(contains(sql, c.predicate)) << sql;
    EXPECT_EQ(parameters, c.parameters);
    EXPECT_TRUE(contains(sql, "AND coalesce(link.zmarkedfordeletion, 0) != 1 GROUP BY link.z_pk")) << sql;
  }
}

}  // namespace
}  // namespace zephyl::notes_store
