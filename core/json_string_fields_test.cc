#include "core/json_string_fields.h"

#include <gtest/gtest.h>

#include "core/json_value.h"

namespace zephyl::core {
namespace {

constexpr std::array<std::string_view, 2> kKeys = {"type", "delta"};

// Whatever the scan reads must be what the full parser reads.
TEST(JSONStringFields, AgreesWithTheParserOnWellFormedObjects) {
  const char* documents[] = {
      R"({"type":"d","delta":"plain"})",
      R"( { "delta" : "a\"b\\c\/\n\t\u00e9\ud83d\ude00" , "type":"x" } )",
      R"({"n":-1.5e3,"ok":true,"none":null,"nested":{"delta":"inner","list":[1,"}",{"a":"]"}]},"delta":"outer"})",
      R"({"delta":"first","delta":"last"})",
      R"({})",
      R"({"type":"only"})",
  };
  for (const char* document : documents) {
    const auto fields = readJSONStringFields(document, kKeys);
    ASSERT_TRUE(fields) << document;
    const JSONValue parsed = JSONValue::parse(document);
    for (size_t index = 0; index < kKeys.size(); ++index) {
      const JSONValue* member = parsed.find(kKeys[index]);
      const std::optional<std::string> expected =
          member != nullptr ? std::optional<std::string>(*member->string()) : std::nullopt;
      EXPECT_EQ((*fields)[index], expected) << document << " " << kKeys[index];
    }
  }
}

TEST(JSONStringFields, AnythingUnexpectedFallsBackToTheParser) {
  const char* documents[] = {
      R"({"delta":1})",             // a wanted member that is no string
      R"({"delta":"\ud800"})",      // a lone surrogate
      "{\"delta\":\"\xC3\"}",       // not UTF-8
      "{\"delta\":\"a\nb\"}",       // a raw control character
      R"({"delta":"open)",          // cut off
      R"({"a":[1,2})",              // unbalanced
      R"({"delta":"x"} trailing)",  // more after the object
      R"(["delta","x"])",           // not an object
      R"({"delta":"\q"})",          // unknown escape
  };
  for (const char* document : documents) EXPECT_FALSE(readJSONStringFields(document, kKeys)) << document;
}

}  // namespace
}  // namespace zephyl::core
