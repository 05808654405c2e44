#include "core/json_tape.h"

#include <gtest/gtest.h>

namespace zephyl::core {
namespace {

// The tape must accept exactly what JSONValue::parse accepts, and read it the same.
TEST(JSONTape, AgreesWithJSONValueParse) {
  const char* texts[] = {
      R"( {"a":[1,-0,2.5e3,18446744073709551615,99999999999999999999,true,false,null],"b":{}} )",
      R"(["\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00", "é😀", []])",
      R"({"k":1,"k":2,"\u006b":3,"x":{"k":[{}]}})",
      "[1,]",
      "{\"a\":}",
      "{\"a\" 1}",
      "[01]",
      "[1.]",
      "[.5]",
      "[1e]",
      "[-]",
      "tru",
      "[1] 2",
      "",
      "[\"\x01\"]",
      "[\"\xff\"]",
      "[\"\xc0\xaf\"]",
      R"(["\ud83d"])",
      R"(["\ude00"])",
      R"(["\x"])",
      "[\"open",
      "{\"a\":1",
      "[[[]]",
      "{1:2}",
      "[1e400]",
      "[-1.5E+309]",
      "[1e-400]",
      "[0.0000e999]",
  };
  for (const char* text : texts) {
    std::optional<JSONValue> expected;
    try {
      expected = JSONValue::parse(text);
    } catch (const JSONValueError&) {
    }
    JSONTape tape;
    if (!expected) {
      EXPECT_THROW(tape.parse(text), JSONValueError) << text;
      continue;
    }
    tape.parse(text);
    EXPECT_EQ(tape.root().toJSONValue(), *expected) << text;
  }
}

// An object read a member at a time, each value on the same tape as its key,
// is what the whole read makes of it.
TEST(JSONTape, AnObjectReadAMemberAtATimeAgreesWithJSONValueParse) {
  const char* texts[] = {
      R"( {"a":[1,{"b":2}], "\u0061":3 ,"c":{}} )",
      " { } ",
      "{\"a\":1,}",
      "{\"a\":1 \"b\":2}",
      "{\"a\":}",
      "{1:2}",
      "{\"a\":1",
      "[1]",
      "{\"a\":1} x",
  };
  for (const std::string_view text : texts) {
    std::optional<JSONValue> expected;
    try {
      expected = JSONValue::parse(text);
      if (!expected->object()) expected.reset();  // no object to read by members
    } catch (const JSONValueError&) {
    }
    JSONTape tape;
    std::optional<JSONValue> read = JSONValue::Object{};
    try {
      size_t end = tape.parseMembers(text, 0, [&](std::string key, size_t at) {
        const size_t valueEnd = tape.parsePrefix(text, at);
        read->set(std::move(key), tape.root().toJSONValue());
        return valueEnd;
      });
      while (end < text.size() && text[end] == ' ') ++end;
      if (end != text.size()) read.reset();
    } catch (const JSONValueError&) {
      read.reset();
    }
    EXPECT_EQ(read, expected) << text;
  }
}

TEST(JSONTape, MembersAreFoundInAnyOrderAndARepeatedKeyReadsItsLastValue) {
  JSONTape tape;
  tape.parse(R"({"a":1,"b":"two","c":[3.0,4],"a\u0062":5,"ab":6})");
  uint32_t cursor = 0;
  for (const char* key : {"c", "a", "b", "zz", "ab"}) {
    EXPECT_EQ(tape.root().find(key, cursor).has_value(), tape.root().find(key).has_value()) << key;
  }
  EXPECT_EQ(tape.root().find("ab")->integer(), 6);
  EXPECT_EQ(tape.root().find("b", cursor)->string(), "two");
  const auto numbers = tape.root().find("c", cursor)->elements();
  ASSERT_EQ(numbers.size(), 2u);
  EXPECT_EQ((*numbers.begin()).integer(), 3);  // an integral double reads as an integer, as in JSONValue
  EXPECT_EQ(tape.root().find("a", cursor)->boolean(), std::nullopt);

  // Small objects are checked for repeats exactly, large ones by a cheaper rule;
  // both read the last value, and members are visited as written.
  for (const int members : {3, 2000}) {
    std::string text = "{";
    for (int i = 0; i < members; ++i) text += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
    text += "\"k1\":-1}";
    tape.parse(text);
    cursor = 0;
    EXPECT_EQ(tape.root().find("k0", cursor)->integer(), 0) << members;
    EXPECT_EQ(tape.root().find("k1", cursor)->integer(), -1) << members;
    int visited = 0;
    std::string last;
    tape.root().forEachMember([&](std::string key, JSONTape::Value) {
      ++visited;
      last = std::move(key);
    });
    EXPECT_EQ(visited, members + 1);
    EXPECT_EQ(last, "k1");
  }
}

}  // namespace
}  // namespace zephyl::core
