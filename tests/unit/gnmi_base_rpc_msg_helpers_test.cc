// Splitting a prefixed name at its first colon.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <string_view>

#include "gnmi/gnmi_rpc_msg_helpers.h"

namespace {

using gnmi::RpcMsgHelpers;

struct Split {
  const char* text;
  const char* prefix;
  const char* rest;
};

const Split kTable[] = {
    {"module:name", "module", "name"},
    {"name", "", "name"},
    {"", "", ""},
    {"a:b:c", "a", "b:c"},
    {"fe80::1", "fe80", ":1"},
    {":name", "", "name"},
    {"module:", "module", ""},
    {":", "", ""},
};

TEST(ExtractPrefix, SplitsAtTheFirstColon) {
  for (const Split& row : kTable) {
    std::string prefix = "before";
    std::string rest = "before";
    RpcMsgHelpers::extract_prefix(std::string(row.text), prefix, rest);
    EXPECT_EQ(prefix, row.prefix) << row.text;
    EXPECT_EQ(rest, row.rest) << row.text;
  }
}

TEST(ExtractPrefix, SplitsViewsTheSameWayAndPointsIntoTheText) {
  for (const Split& row : kTable) {
    const std::string_view text = row.text;
    std::string_view prefix = "before";
    std::string_view rest = "before";
    RpcMsgHelpers::extract_prefix(text, prefix, rest);
    EXPECT_EQ(prefix, row.prefix) << row.text;
    EXPECT_EQ(rest, row.rest) << row.text;
    EXPECT_EQ(rest.data() + rest.size(), text.data() + text.size());
  }
}

TEST(ExtractPrefix, TakesTheTextAsItsOwnRest) {
  std::string text = "module:name";
  std::string prefix;
  RpcMsgHelpers::extract_prefix(text, prefix, text);
  EXPECT_EQ(prefix, "module");
  EXPECT_EQ(text, "name");
}

TEST(ExtractPrefix, TakesTheTextAsItsOwnPrefix) {
  for (const char* given : {"module:name", "name"}) {
    std::string text = given;
    std::string rest;
    RpcMsgHelpers::extract_prefix(text, text, rest);
    EXPECT_EQ(rest, "name");
    EXPECT_EQ(text, given == std::string("name") ? "" : "module");
  }
}

RC_GTEST_PROP(ExtractPrefix, PartsMakeTheTextAgain, (const std::string& text)) {
  std::string prefix;
  std::string rest;
  RpcMsgHelpers::extract_prefix(text, prefix, rest);
  const bool has_colon = text.find(':') != std::string::npos;
  RC_ASSERT((has_colon ? prefix + ":" + rest : rest) == text);
  RC_ASSERT(prefix.find(':') == std::string::npos);
}

}  // namespace
