#include "core/apple_time.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace zephyl::core {
namespace {

TEST(AppleTime, ReferenceDateFractionsAndOutOfRangeTimes) {
  struct Case {
    double appleSeconds;
    std::optional<std::string> iso;
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {0, "2001-01-01T00:00:00Z"},
      {-978307200, "1970-01-01T00:00:00Z"},
      {-1, "2000-12-31T23:59:59Z"},
      {0.5, "2001-01-01T00:00:00.5Z"},
      {0.1, "2001-01-01T00:00:00.1Z"},
      {816341400.25, "2026-11-14T09:30:00.25Z"},
      {-978307200.000001, "1969-12-31T23:59:59.999999Z"},
      {4102444800.0 - 978307200.0, "2100-01-01T00:00:00Z"},
      {253402300799.0 - 978307200.0, "9999-12-31T23:59:59Z"},
      {-62135596800.0 - 978307200.0, "0001-01-01T00:00:00Z"},
      {253402300800.0 - 978307200.0, std::nullopt},
      {-62135596800.5 - 978307200.0, std::nullopt},
      {1e300, std::nullopt},
      {-1e300, std::nullopt},
      {static_cast<double>(INT64_MAX), std::nullopt},
      {kInfinity, std::nullopt},
      {-kInfinity, std::nullopt},
      {std::numeric_limits<double>::quiet_NaN(), std::nullopt},
  };
  for (const Case& c : cases) {
    const auto time = timeFromAppleSeconds(c.appleSeconds);
    EXPECT_EQ(formatIso8601(time), c.iso) << c.appleSeconds;
    if (!c.iso) continue;
    EXPECT_EQ(parseIso8601(*c.iso), time) << *c.iso;
    EXPECT_NEAR(appleSecondsFromTime(*time), c.appleSeconds, 1e-6) << c.appleSeconds;
  }
}

TEST(AppleTime, ParsesIso8601WithFractionsAndOffsets) {
  struct Case {
    const char* text;
    std::optional<const char*> utc;  // formatted back; nullopt: rejected
  };
  const Case cases[] = {
      {"2026-11-14T09:30:00Z", "2026-11-14T09:30:00Z"},
      {"2026-11-14T09:30:00.25Z", "2026-11-14T09:30:00.25Z"},
      {"2026-11-14T09:30:00.1234567Z", "2026-11-14T09:30:00.123456Z"},
      {"2026-11-14T10:30:00+01:00", "2026-11-14T09:30:00Z"},
      {"2026-11-14T00:30:00-02:30", "2026-11-14T03:00:00Z"},
      {"2026-11-14T00:15:00-05:30", "2026-11-14T05:45:00Z"},
      {"1969-12-31T23:59:59.999999Z", "1969-12-31T23:59:59.999999Z"},
      {"2026-02-29T00:00:00Z", std::nullopt},
      {"2026-11-14", std::nullopt},
      {"2026-11-14T09:30:00", std::nullopt},
      {"2026-11-14T09:30:00.Z", std::nullopt},
      {"2026-11-14T24:00:00Z", std::nullopt},
      {"2026-11-14 09:30:00Z", std::nullopt},
      {"2026-11-14T09:30:00Zjunk", std::nullopt},
      {"2026-11-14T09:30:00+0100", std::nullopt},
      {"", std::nullopt},
  };
  for (const Case& c : cases) {
    const auto parsed = parseIso8601(c.text);
    if (c.utc) {
      ASSERT_TRUE(parsed) << c.text;
      EXPECT_EQ(formatIso8601(*parsed), *c.utc) << c.text;
    } else {
      EXPECT_FALSE(parsed) << c.text;
    }
  }
}

}  // namespace
}  // namespace zephyl::core
