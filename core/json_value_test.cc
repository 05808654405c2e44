#include "core/json_value.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

namespace zephyl::core {
namespace {

TEST(JSONValue, NumbersKeepTheirKinds) {
  const JSONValue value =
      JSONValue::parse("[9223372036854775807,9223372036854775808,18446744073709551615,-1,1.0,0.5]");
  const auto& items = *value.array();
  EXPECT_EQ(items[0].kind(), JSONValue::Kind::kInteger);
  EXPECT_EQ(items[0].integer(), INT64_MAX);
  EXPECT_EQ(items[1].kind(), JSONValue::Kind::kUnsignedInteger);
  EXPECT_EQ(items[1].unsignedInteger(), uint64_t{9223372036854775808u});
  EXPECT_FALSE(items[1].integer());
  EXPECT_EQ(items[2].unsignedInteger(), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(items[3].kind(), JSONValue::Kind::kInteger);
  EXPECT_EQ(items[4].kind(), JSONValue::Kind::kNumber);
  EXPECT_EQ(items[4].integer(), 1);  // a count sent as 1.0 still counts
  EXPECT_FALSE(items[5].integer());
  EXPECT_EQ(value.serialized(), "[9223372036854775807,9223372036854775808,18446744073709551615,-1,1.0,0.5]");
}

TEST(JSONValue, LiteralsBuildTheSameValueAsParsing) {
  const JSONValue literal = JSONValue::Object{
      {"type", "message"},
      {"count", 3},
      {"big", uint64_t{18446744073709551615u}},
      {"small", uint64_t{5}},
      {"ratio", 0.25},
      {"ok", true},
      {"none", nullptr},
      {"items", JSONValue::Array{1, "two", JSONValue::Object{}}},
  };
  EXPECT_EQ(literal, JSONValue::parse(R"({"type":"message","count":3,"big":18446744073709551615,"small":5,)"
                                      R"("ratio":0.25,"ok":true,"none":null,"items":[1,"two",{}]})"));
  EXPECT_EQ(literal.find("small")->kind(), JSONValue::Kind::kInteger);
  EXPECT_EQ(literal.find("missing"), nullptr);
}

TEST(JSONValue, SetKeepsPositionOfExistingKey) {
  JSONValue value;
  value.set("b", 1);
  value.set("a", 2);
  value.set("b", 3);
  EXPECT_EQ(value.serialized(), R"({"b":3,"a":2})");

  // A literal with a repeated key writes the value that find() reads: the first.
  const JSONValue repeated = JSONValue::Object{{"k", 1}, {"other", 2}, {"k", 3}};
  EXPECT_EQ(repeated.find("k")->serialized(), "1");
  EXPECT_EQ(repeated.serialized(), R"({"k":1,"other":2})");
}

// The writer is our own; its bytes must stay the library's, which request
// bodies and stored files were written with, and read back to the same value.
TEST(JSONValue, RoundTripsWritingTheSameBytesAsTheJSONLibrary) {
  std::string everyByte;
  for (int c = 1; c < 0x80; ++c) everyByte += static_cast<char>(c);
  std::string manyKeys = "{";
  for (int i = 0; i < 100; ++i) manyKeys += "\"k" + std::to_string(i % 70) + "\":" + std::to_string(i) + ",";
  manyKeys += "\"end\":[]}";
  const std::vector<std::string> documents = {
      nlohmann::ordered_json(everyByte).dump(),
      nlohmann::ordered_json(std::string("nul \0 and 日本 😀 \x7f")).dump(),
      R"([1e300,-0.0,0.1,1.0,2.5e-7,123456789012345680000.0,-9223372036854775808])",
      R"({"b":{"a":1,"b":[{"x":"y"}]},"a":null,"c":true,"d":false})",
      R"([9223372036854775807,-9223372036854775808,9223372036854775808,18446744073709551615])",
      R"([0.1,1.0,-2.5e-300,1.7976931348623157e+308,123456789.123456789])",
      R"({"text":"日本 \"quoted\" \\ \n tab\t","empty":{},"list":[]})",
      manyKeys,
  };
  for (const auto& text : documents) {
    const JSONValue value = JSONValue::parse(text);
    EXPECT_EQ(value.serialized(), nlohmann::ordered_json::parse(text).dump()) << text;
    EXPECT_EQ(JSONValue::parse(value.serialized()), value) << text;
  }
}

TEST(JSONValue, MalformedTextAndInvalidUtf8Throw) {
  for (const char* text : {"", "{", "[1,]", "{'a':1}", "nul", "1 2", "\"\xFF\""}) {
    EXPECT_THROW(JSONValue::parse(text), JSONValueError) << text;
  }
  EXPECT_THROW(JSONValue("bad \xFF").serialized(), JSONValueError);
}

}  // namespace
}  // namespace zephyl::core
