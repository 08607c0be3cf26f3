// The verdict in the notification: who writes it, and that nobody else touches it.
#include <gtest/gtest.h>

#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace request_validation_verdict_test {

using Helpers = nexa::ServiceRpcMsgHelpers;
using List = gnmi::SubscriptionList;

// With a verdict, and more beside it, from an earlier check.
nexa::Notification used_notification() {
  nexa::Notification notification;
  notification.mutable_status()->set_code(99);
  notification.mutable_status()->set_message("earlier");
  notification.mutable_notification()->set_timestamp(42);
  return notification;
}

void expect_verdict(const nexa::Notification& notification, int code, const std::string& message) {
  EXPECT_EQ(notification.status().code(), code);
  EXPECT_EQ(notification.status().message(), message);
  EXPECT_EQ(notification.notification().timestamp(), 42);
}

TEST(SubscribeVerdict, APassLeavesAnEarlierVerdictAlone) {
  nexa::Notification notification = used_notification();
  List list;
  list.add_subscription()->set_mode(gnmi::SAMPLE);
  gnmi::SubscribeRequest request;
  *request.mutable_subscribe() = list;
  EXPECT_TRUE(Helpers::validate_encoding(list, &notification));
  EXPECT_TRUE(Helpers::validate_slist(list, &notification));
  EXPECT_TRUE(Helpers::validate_subscriptions(list, &notification));
  EXPECT_TRUE(Helpers::validate_subscribe(request, &notification));
  expect_verdict(notification, 99, "earlier");
}

TEST(SubscribeVerdict, EveryRefusalReplacesCodeAndMessageInPlace) {
  const nexa_test::LogCapture log;
  List list;
  list.set_encoding(gnmi::ASCII);
  list.set_updates_only(true);
  nexa::Notification notification = used_notification();
  EXPECT_FALSE(Helpers::validate_encoding(list, &notification));
  expect_verdict(notification, 12, "Requested encoding \"ASCII\" not supported");
  EXPECT_FALSE(Helpers::validate_slist(list, &notification));
  expect_verdict(notification, 3, "Unsupported subscription list updates_only selection [ true ]");
  EXPECT_FALSE(Helpers::validate_subscriptions(list, &notification));
  expect_verdict(notification, 3, "Empty subscription list");
  EXPECT_FALSE(Helpers::validate_subscribe(gnmi::SubscribeRequest(), &notification));
  expect_verdict(notification, 3,
                 "Unsupported method[ Aliases ] provided on initial subscribe request");
  EXPECT_FALSE(Helpers::validate_poll(gnmi::SubscribeRequest(), &notification));
  expect_verdict(notification, 3,
                 "Unsupported subscribeRequest::method on active stream [ poll/aliases/change of "
                 "subscriptionList ]");
}

TEST(SubscribeVerdict, AModeBelowTheKnownOnesIsShownAsTargetDefined) {
  nexa::Notification notification = used_notification();
  List list;
  list.add_subscription()->set_mode(static_cast<gnmi::SubscriptionMode>(-1));
  EXPECT_FALSE(Helpers::validate_subscriptions(list, &notification));
  expect_verdict(notification, 3,
                 "Unsupported subscription mode selection [ TARGET_DEFINED on sub index [ 0 ]]");
}

TEST(SubscribeVerdict, TheIndexIsDecimal) {
  nexa::Notification notification = used_notification();
  List list;
  for (int i = 0; i < 13; ++i) list.add_subscription()->set_mode(gnmi::SAMPLE);
  list.mutable_subscription(12)->set_suppress_redundant(true);
  EXPECT_FALSE(Helpers::validate_subscriptions(list, &notification));
  expect_verdict(
      notification, 3,
      "Unsupported subscription suppress_redundant selection [ true on sub index [ 12 ]]");
}

}  // namespace request_validation_verdict_test
