#include "core/base64.h"

#include <gtest/gtest.h>

namespace zephyl::core {
namespace {

TEST(Base64, EncodesAndDecodesEveryPaddingLength) {
  const struct {
    std::string bytes;
    std::string text;
  } cases[] = {
      {"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
      {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {std::string("\xFF\x00\xFE", 3), "/wD+"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(base64Encode(test.bytes), test.text);
    EXPECT_EQ(base64Decode(test.text), test.bytes) << test.text;
  }
}

TEST(Base64, DecodingSkipsWhiteSpaceAndRejectsWhatIsNotBase64) {
  EXPECT_EQ(base64Decode("Zm9v\nYg"), "foob");  // wrapped, padding left out
  for (const char* text : {"Zm9v*", "Z", "Zg==Zg==", "Zg==="}) {
    EXPECT_EQ(base64Decode(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace zephyl::core
