// The text of odd paths: names that are empty or hold slashes, keys of which some are left out.
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace response_building_path_text_test {

using Helpers = nexa::ServiceRpcMsgHelpers;
using Keys = std::map<std::string, std::string>;

gnmi::Path path_of(const std::vector<std::string>& names, const Keys& last_keys = {}) {
  gnmi::Path path;
  for (const std::string& name : names) path.add_elem()->set_name(name);
  path.mutable_elem(path.elem_size() - 1)
      ->mutable_key()
      ->insert(last_keys.begin(), last_keys.end());
  return path;
}

std::string text_of(const gnmi::Path& path) { return Helpers::build_path_str(path, nullptr); }

TEST(BuildPathText, AKeyThatIsLeftOutLeavesNoSeparator) {
  const gnmi::Path path = path_of({"l"}, {{"a", "1"}, {"b", "*"}, {"c", "3"}, {"d", "*"}});
  const std::string text = text_of(path);
  EXPECT_TRUE(text == "/l[a='1' and c='3']" || text == "/l[c='3' and a='1']") << text;
}

TEST(BuildPathText, AKeyThatIsLeftOutIsNotTraced) {
  nexa_test::LogCapture log;
  EXPECT_EQ(text_of(path_of({"l"}, {{"a", "*"}})), "/l");
  EXPECT_EQ(log.take_texts(), std::vector<std::string>{"XPATH from Path is /l"});
}

TEST(BuildPathText, KeysStandInTheOrderOfTheMap) {
  const gnmi::Path path = path_of({"l"}, {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", ""}});
  std::string keys;
  for (const auto& [key, value] : path.elem(0).key()) {
    keys += (keys.empty() ? "" : " and ") + key + "='" + value + "'";
  }
  EXPECT_EQ(text_of(path), "/l[" + keys + "]");
}

TEST(BuildPathText, OnlyAWholeValueIsTheWildcard) {
  EXPECT_EQ(text_of(path_of({"l"}, {{"a", "**"}})), "/l[a='**']");
  EXPECT_EQ(text_of(path_of({"l"}, {{"a", "..."}})), "/l[a='...']");
}

TEST(BuildPathText, ASlashAtTheEndOfANameIsRemovedToo) {
  EXPECT_EQ(text_of(path_of({"a/"})), "/a");
  EXPECT_EQ(text_of(path_of({"a//"})), "/a");
  EXPECT_EQ(text_of(path_of({"a///"})), "/a/");
  EXPECT_EQ(text_of(path_of({"a/", "b"})), "/a//b");
}

TEST(BuildPathText, AnEmptyNameIsASegment) {
  EXPECT_EQ(text_of(path_of({""})), "");
  EXPECT_EQ(text_of(path_of({"", "a"})), "//a");
  EXPECT_EQ(text_of(path_of({""}, {{"k", "v"}})), "/[k='v']");
}

TEST(BuildUpdateResult, KeepsItsPathWhenTheGivenOneChanges) {
  gnmi::SetResponse response;
  gnmi::Path path = path_of({"a"});
  const gnmi::UpdateResult* result =
      Helpers::build_UpdateResult(&response, path, gnmi::UpdateResult::UPDATE);
  path.mutable_elem(0)->set_name("b");
  EXPECT_EQ(result->path().elem(0).name(), "a");
}

TEST(BuildUpdateResult, TakesAPathOfTheSameResponse) {
  gnmi::SetResponse response;
  Helpers::build_UpdateResult(&response, path_of({"a"}), gnmi::UpdateResult::UPDATE);
  for (int i = 0; i < 20; ++i) {
    Helpers::build_UpdateResult(&response, response.response(0).path(), gnmi::UpdateResult::DELETE);
  }
  EXPECT_TRUE(google::protobuf::util::MessageDifferencer::Equals(response.response(20).path(),
                                                                 response.response(0).path()));
}

}  // namespace response_building_path_text_test
