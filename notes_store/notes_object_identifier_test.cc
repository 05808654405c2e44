#include "notes_store/notes_object_identifier.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

TEST(NotesObjectIdentifier, FormatsAndParsesBothKinds) {
  const std::pair<const char*, NotesObjectIdentifier> cases[] = {
      {"x-coredata://A-B/ICNote/p42", {"A-B", NotesObjectKind::kNote, 42}},
      {"x-coredata://A-B/ICFolder/p7", {"A-B", NotesObjectKind::kFolder, 7}},
      {"x-coredata:///ICNote/p1", {"", NotesObjectKind::kNote, 1}},  // a store without a UUID
  };
  for (const auto& [text, identifier] : cases) {
    EXPECT_EQ(NotesObjectIdentifier::parse(text), identifier) << text;
    EXPECT_EQ(identifier.format(), text);
  }
}

TEST(NotesObjectIdentifier, RejectsAnythingElse) {
  for (const char* text :
       {"x-coredata://A-B/ICNote/p", "x-coredata://A-B/ICNote/p4x", "x-coredata://A-B/ICNote/42",
        "x-coredata://A-B/ICAttachment/p4", "x-coredata://A-B/ICNote/p-", "x-coredata://A-B",
        "https://A-B/ICNote/p4", "x-coredata://A-B/ICNote/p99999999999999999999", "42"}) {
    EXPECT_EQ(NotesObjectIdentifier::parse(text), std::nullopt) << text;
  }
}

TEST(NotesObjectIdentifier, SqlExpressionSpellsTheSameForm) {
  EXPECT_EQ(NotesObjectIdentifier::sqlExpression(NotesObjectKind::kNote, "metadata.z_uuid", "note.z_pk"),
            "'x-coredata://' || metadata.z_uuid || '/ICNote/p' || note.z_pk");
}

}  // namespace
}  // namespace zephyl::notes_store
