// How the words for another schema name what differs.
#include "store/log/schema_stamp.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace nexa::store {
namespace schema_stamp_test {

TEST(SchemaStamp, NamesWhatBecameOfEachModule) {
  EXPECT_EQ(stamp_difference("a@2020-01-01\nb@\n", "a@2020-01-01\nb@\n"), "");
  EXPECT_EQ(stamp_difference("a@2020-01-01\n", "a@2021-01-01\n"), "a 2020-01-01 became 2021-01-01");
  EXPECT_EQ(stamp_difference("a@2020-01-01\n", "a@\n"), "a 2020-01-01 became without revision");
  EXPECT_EQ(stamp_difference("a@\nb@2020-01-01 f\n", "a@\n"), "b 2020-01-01 is gone");
  EXPECT_EQ(stamp_difference("b@\n", "a@2020-01-01 f\nb@\n"), "a 2020-01-01 is new");
  EXPECT_EQ(stamp_difference("", "a@\n"), "a without revision is new");
}

TEST(SchemaStamp, TellsFeaturesFromARevision) {
  for (const auto& [before, after] :
       {std::pair("a@2020-01-01\n", "a@2020-01-01 f\n"), std::pair("a@ f g\n", "a@ f\n")}) {
    EXPECT_EQ(stamp_difference(before, after), "a has other features");
  }
  EXPECT_EQ(stamp_difference("a@2020-01-01 f\n", "a@2021-01-01\n"),
            "a 2020-01-01 became 2021-01-01");
}

TEST(SchemaStamp, NamesFiveAndCountsTheOthers) {
  const std::string five =
      "a without revision is gone, b without revision is gone, c without revision is gone, "
      "d without revision is gone, e without revision is gone";
  EXPECT_EQ(stamp_difference("a@\nb@\nc@\nd@\ne@\n", ""), five);
  EXPECT_EQ(stamp_difference("a@\nb@\nc@\nd@\ne@\nf@\n", ""), five + ", and 1 more");
  EXPECT_EQ(stamp_difference("a@\nb@\nc@\nd@\ne@\n", "x@\ny@\n"), five + ", and 2 more");
}

TEST(SchemaStamp, ALineThatIsNoModuleSaysNothing) {
  EXPECT_EQ(stamp_difference("a@\nnothing\n\nb@", "a@\nb@\n"), "");
  EXPECT_EQ(stamp_difference("nothing", ""), "");
}

}  // namespace schema_stamp_test
}  // namespace nexa::store
