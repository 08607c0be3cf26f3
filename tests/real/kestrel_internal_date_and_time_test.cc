// The canonical text of a date, held against libyang's wherever libyang can count so far.
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <random>
#include <string>

#include "date_and_time.h"

namespace nexa_test {
namespace {

using kestrel::canonical_date_and_time;

// The machine's time zone, for one test.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
};

// A leaf of the type in a context of libyang's own.
class Libyang {
 public:
  Libyang() {
    ly_ctx* made = nullptr;
    EXPECT_EQ(ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY, &made), LY_SUCCESS);
    context_.reset(made);
    EXPECT_EQ(
        lys_parse_mem(made,
                      "module m { namespace urn:m; prefix m; import ietf-yang-types { prefix t; }"
                      " leaf at { type t:date-and-time; } }",
                      LYS_IN_YANG, &module_),
        LY_SUCCESS);
  }

  std::string canonical(const std::string& text) const {
    lyd_node* leaf = nullptr;
    if (lyd_new_term(nullptr, module_, "at", text.c_str(), 0, &leaf) != LY_SUCCESS)
      return "refused";
    const std::string result = lyd_get_value(leaf);
    lyd_free_all(leaf);
    return result;
  }

 private:
  struct Destroy {
    void operator()(ly_ctx* context) const { ly_ctx_destroy(context); }
  };
  std::unique_ptr<ly_ctx, Destroy> context_;
  lys_module* module_ = nullptr;
};

// What libyang's seconds hold: all that a text can say with 64 bits, 1902 to 2037 with 32.
constexpr int kFirstYear = sizeof(long) == 8 ? 1 : 1902;
constexpr int kLastYear = sizeof(long) == 8 ? 9998 : 2037;

// Of an unknown offset libyang makes another time in zones that once had another offset, hence
// `with_unknown`; and it writes "-03:-30", so no zone here is west by a part of an hour.
std::string random_date(std::mt19937& random, bool with_unknown) {
  const auto one_of = [&](int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random);
  };
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", one_of(kFirstYear, kLastYear),
                one_of(1, 12), one_of(1, 31), one_of(0, 23), one_of(0, 59), one_of(0, 59));
  const char* const fractions[] = {"", "", ".5", ".000", ".123456789"};
  const char* const zones[] = {"Z", "+02:00", "-11:30", "+00:30", "-00:30", "+13:45", "-00:00"};
  return std::string(text) + fractions[one_of(0, 4)] + zones[one_of(0, with_unknown ? 6 : 5)];
}

TEST(DateAndTime, IsWhatLibyangMakesOfIt) {
  const Libyang libyang;
  std::mt19937 random(7);
  for (const char* const zone : {"UTC", "Europe/Berlin", "Asia/Kathmandu", "Etc/GMT+5"}) {
    const TimeZone set(zone);
    for (int i = 0; i < 500; ++i) {
      const std::string text = random_date(random, zone == std::string("UTC"));
      ASSERT_EQ(canonical_date_and_time(text), libyang.canonical(text)) << text << " in " << zone;
    }
  }
}

TEST(DateAndTime, AnUnknownOffsetStaysAndMovesNothing) {
  const TimeZone set("Asia/Kathmandu");
  EXPECT_EQ(canonical_date_and_time("1910-04-28T10:54:55.5-00:00"), "1910-04-28T10:54:55.5-00:00");
  EXPECT_EQ(canonical_date_and_time("2045-04-28T10:54:55-00:00"), "2045-04-28T10:54:55-00:00");
}

TEST(DateAndTime, HasEveryYear) {
  const TimeZone set("UTC");
  EXPECT_EQ(canonical_date_and_time("2038-01-19T03:14:07Z"), "2038-01-19T03:14:07+00:00");
  EXPECT_EQ(canonical_date_and_time("2038-01-19T03:14:08Z"), "2038-01-19T03:14:08+00:00");
  EXPECT_EQ(canonical_date_and_time("2045-06-01T00:00:00.5+02:00"), "2045-05-31T22:00:00.5+00:00");
  EXPECT_EQ(canonical_date_and_time("1900-01-01T00:00:00Z"), "1900-01-01T00:00:00+00:00");
  EXPECT_EQ(canonical_date_and_time("0001-01-01T00:00:00-00:00"), "0001-01-01T00:00:00-00:00");
  EXPECT_EQ(canonical_date_and_time("9999-12-31T23:59:59.999Z"), "9999-12-31T23:59:59.999+00:00");
}

}  // namespace
}  // namespace nexa_test
