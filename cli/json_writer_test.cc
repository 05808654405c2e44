#include "cli/json_writer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

namespace zephyl::cli {
namespace {

TEST(JsonWriter, EscapesAndRepairsTextSoAnyParserReadsIt) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "\"plain\""},
      {"quote \" and \\ slash", R"("quote \" and \\ slash")"},
      {"line\nfeed\ttab\x01", R"("line\nfeed\ttab\u0001")"},
      {"Café › 日本 🚀", "\"Café › 日本 🚀\""},
      {"bad \xff byte", "\"bad \xEF\xBF\xBD byte\""},
      {"cut \xE2\x80", "\"cut \xEF\xBF\xBD\xEF\xBF\xBD\""},  // truncated sequence
      {"overlong \xC0\xAF", "\"overlong \xEF\xBF\xBD\xEF\xBF\xBD\""},
      {"surrogate \xED\xA0\x80", "\"surrogate \xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},
  };
  for (const auto& [input, expected] : cases) {
    EXPECT_EQ(jsonQuoted(input), expected);
    EXPECT_NO_THROW(nlohmann::json::parse(jsonQuoted(input))) << input;
  }
}

TEST(JsonWriter, NestedContainersKeepKeyOrderAndParse) {
  std::ostringstream out;
  JsonWriter json(out);
  json.beginArray();
  json.beginObject();
  json.key("z").value(int64_t{-5});
  json.key("a").stringArray({"x", "y"});
  json.key("empty").stringArray({});
  json.key("none").value(std::optional<int64_t>());
  json.key("when").time(*core::timeFromAppleSeconds(0));
  json.key("flag").value(true);
  json.endObject();
  json.beginObject();
  json.endObject();
  json.endArray();
  json.finish();

  const auto parsed = nlohmann::ordered_json::parse(out.str());
  EXPECT_EQ(
      parsed.dump(),
      R"([{"z":-5,"a":["x","y"],"empty":[],"none":null,"when":"2001-01-01T00:00:00Z","flag":true},{}])");
  EXPECT_EQ(out.str().back(), '\n');
}

}  // namespace
}  // namespace zephyl::cli
