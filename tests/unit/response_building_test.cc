// Response builders: update results, notifications, timestamps, path texts, the empty document, and
// the verdict of a subscription.
#include <google/protobuf/util/message_differencer.h>
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace response_building_test {

using google::protobuf::util::MessageDifferencer;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Helpers = nexa::ServiceRpcMsgHelpers;

void add(gnmi::Path& path, const std::string& name,
         const std::map<std::string, std::string>& keys = {}) {
  gnmi::PathElem* element = path.add_elem();
  element->set_name(name);
  element->mutable_key()->insert(keys.begin(), keys.end());
}

std::string text_of(const gnmi::Path& path) { return Helpers::build_path_str(path, nullptr); }

gnmi::Path sample_path() {
  gnmi::Path path;
  path.set_origin("openconfig");
  path.set_target("device");
  add(path, "a", {{"k", "1"}});
  return path;
}

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

TEST(BuildUpdateResult, AppendsPathAndOperationWithoutATimestamp) {
  gnmi::SetResponse response;
  response.add_response()->set_op(gnmi::UpdateResult::DELETE);
  const gnmi::Path path = sample_path();
  gnmi::UpdateResult* result =
      Helpers::build_UpdateResult(&response, path, gnmi::UpdateResult::REPLACE);
  ASSERT_EQ(response.response_size(), 2);
  EXPECT_EQ(result, &response.response(1));
  EXPECT_TRUE(MessageDifferencer::Equals(result->path(), path));
  EXPECT_EQ(result->op(), gnmi::UpdateResult::REPLACE);
  gnmi::UpdateResult expected;
  *expected.mutable_path() = path;
  expected.set_op(gnmi::UpdateResult::REPLACE);
  EXPECT_TRUE(MessageDifferencer::Equals(*result, expected));
}

TEST(BuildNotification, CarriesTheWholePrefixAndTheTime) {
  gnmi::GetResponse response;
  const gnmi::Path prefix = sample_path();
  const std::int64_t before = now();
  gnmi::Notification* notification = Helpers::build_notification(&response, &prefix);
  const std::int64_t after = now();
  ASSERT_EQ(response.notification_size(), 1);
  EXPECT_EQ(notification, &response.notification(0));
  EXPECT_TRUE(MessageDifferencer::Equals(notification->prefix(), prefix));
  EXPECT_GE(notification->timestamp(), before);
  EXPECT_LE(notification->timestamp(), after);
  EXPECT_EQ(notification->update_size(), 0);
}

TEST(BuildNotification, HasNoPrefixWhenNoneIsGiven) {
  gnmi::GetResponse response;
  Helpers::build_notification(&response, nullptr);
  gnmi::Notification* second = Helpers::build_notification(&response, nullptr);
  EXPECT_EQ(response.notification_size(), 2);
  EXPECT_EQ(second, &response.notification(1));
  EXPECT_FALSE(second->has_prefix());
}

TEST(GetTimestamp, IsTheWallClockInNanoseconds) {
  const std::int64_t before = now();
  const std::int64_t stamp = Helpers::get_timestamp();
  EXPECT_GE(stamp, before);
  EXPECT_LE(stamp, now());
}

TEST(XmlReturnedIsEmpty, OrdersTheTextAgainstTheEmptyDocument) {
  const std::string empty = "<config xmlns=\"urn:nexa:params:xml:ns:config:1.0\"></config>";
  EXPECT_TRUE(Helpers::xml_returned_is_empty(empty));
  EXPECT_TRUE(Helpers::xml_returned_is_empty(""));
  EXPECT_TRUE(Helpers::xml_returned_is_empty("<config"));
  EXPECT_TRUE(Helpers::xml_returned_is_empty("<a/>"));
  EXPECT_TRUE(Helpers::xml_returned_is_empty(empty.substr(0, empty.size() - 1)));
  EXPECT_FALSE(Helpers::xml_returned_is_empty(empty + "\n"));
  EXPECT_FALSE(Helpers::xml_returned_is_empty(
      "<config xmlns=\"urn:nexa:params:xml:ns:config:1.0\"><a/></config>"));
  EXPECT_FALSE(Helpers::xml_returned_is_empty("<data/>"));
}

TEST(BuildPathStr, AnEmptyPathIsASlash) {
  LogCapture log;
  gnmi::Path path;
  path.set_origin("openconfig");
  path.set_target("device");
  EXPECT_EQ(text_of(path), "/");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, "nexa_srv_rpc_msg_helpers/response_building.cc",
                    "XPATH from Path is /"}}));
}

TEST(BuildPathStr, WritesNamesAndKeys) {
  gnmi::Path path;
  add(path, "interfaces");
  add(path, "interface", {{"name", "eth0"}});
  add(path, "config");
  EXPECT_EQ(text_of(path), "/interfaces/interface[name='eth0']/config");
}

TEST(BuildPathStr, TracesEachKeyValueAndTheResult) {
  LogCapture log;
  gnmi::Path path;
  add(path, "interface", {{"name", "eth0"}});
  text_of(path);
  Lines lines = log.take();
  for (Line& line : lines) line.text = nexa_test::mask_numbers(line.text);
  constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/response_building.cc";
  EXPECT_EQ(
      lines,
      (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "in build_path_str at # the KEY VALUE IS: 'eth0'"},
             {GPR_LOG_SEVERITY_DEBUG, kFile, "XPATH from Path is /interface[name='eth0']"}}));
}

TEST(BuildPathStr, SeveralKeysAreJoinedByAnd) {
  gnmi::Path path;
  add(path, "l", {{"a", "1"}, {"b", "2"}});
  const bool a_first = path.elem(0).key().begin()->first == "a";
  EXPECT_EQ(text_of(path), a_first ? "/l[a='1' and b='2']" : "/l[b='2' and a='1']");
}

TEST(BuildPathStr, SeveralKeysAreJoinedByTheGivenSeparator) {
  gnmi::Path path;
  add(path, "l", {{"a", "1"}, {"b", "2"}});
  const bool a_first = path.elem(0).key().begin()->first == "a";
  const std::string comma = ",";
  EXPECT_EQ(Helpers::build_path_str(path, &comma), a_first ? "/l[a='1',b='2']" : "/l[b='2',a='1']");
  const std::string nothing;
  EXPECT_EQ(Helpers::build_path_str(path, &nothing), a_first ? "/l[a='1'b='2']" : "/l[b='2'a='1']");
}

TEST(BuildPathStr, LeavesOutKeysWhoseValueIsTheWildcard) {
  gnmi::Path path;
  add(path, "l", {{"a", "*"}, {"b", "2"}, {"c", "*"}});
  add(path, "m", {{"k", "*"}});
  EXPECT_EQ(text_of(path), "/l[b='2']/m");
}

TEST(BuildPathStr, AWildcardNameStays) {
  gnmi::Path path;
  add(path, "*", {{"k", "v"}});
  EXPECT_EQ(text_of(path), "/*[k='v']");
}

TEST(BuildPathStr, ARecursiveWildcardInTheMiddleGivesTwoSlashes) {
  gnmi::Path path;
  add(path, "a");
  add(path, "...");
  add(path, "b");
  EXPECT_EQ(text_of(path), "/a//b");
}

TEST(BuildPathStr, ARecursiveWildcardAloneGivesNothing) {
  gnmi::Path path;
  add(path, "...");
  EXPECT_EQ(text_of(path), "");
}

TEST(BuildPathStr, ARecursiveWildcardLosesItsKeys) {
  gnmi::Path path;
  add(path, "...", {{"k", "v"}});
  add(path, "b");
  EXPECT_EQ(text_of(path), "//b");
}

TEST(BuildPathStr, AtMostTwoTrailingSlashesAreRemoved) {
  gnmi::Path path;
  add(path, "a");
  add(path, "...");
  EXPECT_EQ(text_of(path), "/a");
  add(path, "...");
  EXPECT_EQ(text_of(path), "/a");
  add(path, "...");
  EXPECT_EQ(text_of(path), "/a/");
}

TEST(BuildPathStr, ValuesAreNotEscaped) {
  gnmi::Path path;
  add(path, "a", {{"k", "it's [1]/x=\"2\""}});
  EXPECT_EQ(text_of(path), "/a[k='it's [1]/x=\"2\"']");
}

TEST(BuildStatus, LeavesTheStatusAloneWithoutAVerdict) {
  grpc::Status status(grpc::StatusCode::NOT_FOUND, "before");
  EXPECT_FALSE(Helpers::build_status(nexa::Notification(), status));
  EXPECT_FALSE(Helpers::build_status(nexa::Notification::default_instance(), status));
  EXPECT_EQ(status.error_code(), grpc::StatusCode::NOT_FOUND);
  EXPECT_EQ(status.error_message(), "before");
}

TEST(BuildStatus, CopiesCodeAndMessageOfARefusal) {
  nexa::Notification notification;
  gnmi::SubscriptionList list;
  list.set_encoding(gnmi::PROTO);
  ASSERT_FALSE(Helpers::validate_encoding(list, &notification));
  grpc::Status status;
  EXPECT_TRUE(Helpers::build_status(notification, status));
  EXPECT_EQ(status.error_code(), grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_EQ(status.error_message(), "Requested encoding \"PROTO\" not supported");
}

TEST(BuildStatus, AVerdictWithoutCodeIsAVerdict) {
  nexa::Notification notification;
  notification.mutable_status();
  grpc::Status status(grpc::StatusCode::NOT_FOUND, "before");
  EXPECT_TRUE(Helpers::build_status(notification, status));
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(status.error_message(), "");
}

TEST(BuildStatus, IsFalseAfterChecksThatPassed) {
  nexa::Notification notification;
  gnmi::SubscriptionList list;
  list.add_subscription()->set_mode(gnmi::SAMPLE);
  ASSERT_TRUE(Helpers::validate_slist(list, &notification));
  ASSERT_TRUE(Helpers::validate_subscriptions(list, &notification));
  grpc::Status status;
  EXPECT_FALSE(Helpers::build_status(notification, status));
  EXPECT_TRUE(status.ok());
}

}  // namespace response_building_test
