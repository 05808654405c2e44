#include "core/base64.h"

#include <gtest/gtest.h>

namespace zephyl::core {
namespace {

TEST(Base64, EncodesAndDecodesEveryPaddingLength) {
  const struct {
    std::string bytes;
    std::string text;
    std::string url;  // the same in the URL alphabet
  } cases[] = {
      {"", "", ""},
      {"f", "Zg==", "Zg"},
      {"fo", "Zm8=", "Zm8"},
      {"foo", "Zm9v", "Zm9v"},
      {"foob", "Zm9vYg==", "Zm9vYg"},
      {std::string("\xFF\x00\xFE", 3), "/wD+", "_wD-"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(base64Encode(test.bytes), test.text);
    EXPECT_EQ(base64Decode(test.text), test.bytes) << test.text;
    EXPECT_EQ(base64Encode(test.bytes, Base64Alphabet::kURL), test.url);
    EXPECT_EQ(base64Decode(test.url, Base64Alphabet::kURL), test.bytes) << test.url;
  }
}

TEST(Base64, DecodingSkipsWhiteSpaceAndRejectsWhatIsNotBase64) {
  EXPECT_EQ(base64Decode("Zm9v\nYg"), "foob");  // wrapped, padding left out
  for (const char* text : {"Zm9v*", "Z", "Zg==Zg==", "Zg===", "_wD-"}) {
    EXPECT_EQ(base64Decode(text), std::nullopt) << text;
  }
  EXPECT_EQ(base64Decode("/wD+", Base64Alphabet::kURL), std::nullopt);
}

}  // namespace
}  // namespace zephyl::core
