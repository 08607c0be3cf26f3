// Points in time as text, above all those that 32 bits of seconds cannot hold.
#include "text/utc_time.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>

namespace {

using nexa::text::utc_time;
using nexa::text::utc_time_ns;

// A program that knows no date beyond 2038 knows none of its own clock then.
static_assert(sizeof(std::time_t) == 8, "-D_TIME_BITS=64 where pointers have 32 bits");

TEST(UtcTime, SecondsBeforeAndAfterTheEpoch) {
  EXPECT_EQ(utc_time(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(utc_time(-1), "1969-12-31T23:59:59Z");
  EXPECT_EQ(utc_time(951'782'400), "2000-02-29T00:00:00Z");
  EXPECT_EQ(utc_time(1'700'000'000), "2023-11-14T22:13:20Z");
}

TEST(UtcTime, BeyondThirtyTwoBitsOfSeconds) {
  EXPECT_EQ(utc_time(2'147'483'647), "2038-01-19T03:14:07Z");
  EXPECT_EQ(utc_time(2'147'483'648), "2038-01-19T03:14:08Z");
  EXPECT_EQ(utc_time(4'294'967'296), "2106-02-07T06:28:16Z");
  EXPECT_EQ(utc_time(253'402'300'799), "9999-12-31T23:59:59Z");
}

TEST(UtcTime, AYearOfFiveDigitsHasNoText) {
  EXPECT_EQ(utc_time(253'402'300'800), "");
  EXPECT_EQ(utc_time(-62'167'219'201), "");
  EXPECT_EQ(utc_time(std::numeric_limits<std::int64_t>::max()), "");
  EXPECT_EQ(utc_time(std::numeric_limits<std::int64_t>::min()), "");
}

TEST(UtcTime, NanosecondsHaveNineDigits) {
  EXPECT_EQ(utc_time_ns(0), "1970-01-01T00:00:00.000000000Z");
  EXPECT_EQ(utc_time_ns(1'700'000'000'000'000'042), "2023-11-14T22:13:20.000000042Z");
  EXPECT_EQ(utc_time_ns(-1), "1969-12-31T23:59:59.999999999Z");
  EXPECT_EQ(utc_time_ns(2'147'483'648'000'000'001), "2038-01-19T03:14:08.000000001Z");
  EXPECT_EQ(utc_time_ns(std::numeric_limits<std::int64_t>::max()),
            "2262-04-11T23:47:16.854775807Z");
  EXPECT_EQ(utc_time_ns(std::numeric_limits<std::int64_t>::min()),
            "1677-09-21T00:12:43.145224192Z");
}

}  // namespace
