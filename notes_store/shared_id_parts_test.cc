#include "notes_store/shared_id_parts.h"

#include <gtest/gtest.h>

#include <string>

namespace zephyl::notes_store {
namespace {

TEST(SharedIdParts, NumbersEachPartOnceUntilFull) {
  SharedIdParts parts(40);
  EXPECT_EQ(parts.number("x-coredata://S/ICNote/p"), 0);
  // Parts kept further on leave those numbered before where they were.
  for (int i = 1; i < 40; ++i) EXPECT_EQ(parts.number("store " + std::to_string(i)), i);
  EXPECT_EQ(parts.number("one too many"), SharedIdParts::kNone);
  EXPECT_EQ(parts.number("x-coredata://S/ICNote/p"), 0);
  EXPECT_EQ(parts.part(0), "x-coredata://S/ICNote/p");
  EXPECT_EQ(parts.part(2), "store 2");
  EXPECT_EQ(parts.part(39), "store 39");
}

}  // namespace
}  // namespace zephyl::notes_store
