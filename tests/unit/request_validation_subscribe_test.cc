// Checks of a subscription list and of the messages on a subscribe stream: the verdict in the
// notification, and the order in which options are looked at.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace request_validation_subscribe_test {

using nexa_test::Lines;
using nexa_test::LogCapture;
using Helpers = nexa::ServiceRpcMsgHelpers;
using List = gnmi::SubscriptionList;
using ListCheck = bool (*)(const List&, nexa::Notification*);

void expect_pass(ListCheck check, const List& list) {
  LogCapture log;
  nexa::Notification notification;
  EXPECT_TRUE(check(list, &notification));
  EXPECT_FALSE(notification.has_status());
  EXPECT_EQ(log.take(), Lines{});
}

// A refusal leaves nothing in the log: the notification is its only trace.
void expect_refused(ListCheck check, const List& list, const std::string& message) {
  LogCapture log;
  nexa::Notification notification;
  EXPECT_FALSE(check(list, &notification));
  ASSERT_TRUE(notification.has_status());
  EXPECT_EQ(notification.status().code(), 3);
  EXPECT_EQ(notification.status().message(), message);
  EXPECT_FALSE(notification.has_notification());
  EXPECT_EQ(log.take(), Lines{});
}

gnmi::Subscription* add_sample(List& list) {
  gnmi::Subscription* added = list.add_subscription();
  added->set_mode(gnmi::SAMPLE);
  return added;
}

TEST(ValidateListEncoding, PassesJsonAndJsonIetf) {
  for (const gnmi::Encoding encoding : {gnmi::JSON, gnmi::JSON_IETF}) {
    List list;
    list.set_encoding(encoding);
    expect_pass(&Helpers::validate_encoding, list);
  }
}

TEST(ValidateListEncoding, CopiesCodeAndMessageOfTheVerdict) {
  LogCapture log;
  List list;
  list.set_encoding(gnmi::PROTO);
  nexa::Notification notification;
  EXPECT_FALSE(Helpers::validate_encoding(list, &notification));
  EXPECT_EQ(notification.status().code(), 12);
  EXPECT_EQ(notification.status().message(), "Requested encoding \"PROTO\" not supported");
  list.set_encoding(static_cast<gnmi::Encoding>(7));
  EXPECT_FALSE(Helpers::validate_encoding(list, &notification));
  EXPECT_EQ(notification.status().code(), 3);
  EXPECT_EQ(notification.status().message(), "Requested encoding is not valid");
  constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/request_validation.cc";
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_ERROR, kFile, "Requested encoding \"PROTO\" not supported"},
                   {GPR_LOG_SEVERITY_ERROR, kFile, "Requested encoding is not valid"}}));
}

TEST(ValidateSubscriptionList, PassesAStreamWithoutOptions) {
  List list;
  list.set_encoding(gnmi::PROTO);
  list.mutable_prefix()->set_target("t");
  expect_pass(&Helpers::validate_slist, list);
}

TEST(ValidateSubscriptionList, RefusesOnceAndPollByMode) {
  List list;
  list.set_mode(List::ONCE);
  expect_refused(&Helpers::validate_slist, list,
                 "Unsupported subscription list mode selection [ ONCE ]");
  list.set_mode(List::POLL);
  expect_refused(&Helpers::validate_slist, list,
                 "Unsupported subscription list mode selection [ POLL ]");
}

TEST(ValidateSubscriptionList, AnUnknownModeIsShownAsPoll) {
  List list;
  list.set_mode(static_cast<List::Mode>(9));
  expect_refused(&Helpers::validate_slist, list,
                 "Unsupported subscription list mode selection [ POLL ]");
}

TEST(ValidateSubscriptionList, ModeIsReportedBeforeAliases) {
  List list;
  list.set_mode(List::ONCE);
  list.set_use_aliases(true);
  expect_refused(&Helpers::validate_slist, list,
                 "Unsupported subscription list mode selection [ ONCE ]");
}

// All options are set at first; each is cleared in turn, so that the next of the order is reported.
TEST(ValidateSubscriptionList, ReportsOptionsInTheirFixedOrder) {
  List list;
  list.set_mode(List::POLL);
  list.set_use_aliases(true);
  list.mutable_qos();
  list.set_allow_aggregation(true);
  list.add_use_models();
  list.set_updates_only(true);
  const std::vector<std::pair<std::string, std::function<void()>>> order = {
      {"Unsupported subscription list mode selection [ POLL ]",
       [&list] { list.set_mode(List::STREAM); }},
      {"Unsupported subscription list use_aliases selection [ true ]",
       [&list] { list.set_use_aliases(false); }},
      {"Unsupported subscription list qos selection", [&list] { list.clear_qos(); }},
      {"Unsupported subscription list allow_aggregation selection [ true ]",
       [&list] { list.set_allow_aggregation(false); }},
      {"Unsupported subscription list use_models selection", [&list] { list.clear_use_models(); }},
      {"Unsupported subscription list updates_only selection [ true ]",
       [&list] { list.set_updates_only(false); }}};
  for (const auto& [message, clear_option] : order) {
    expect_refused(&Helpers::validate_slist, list, message);
    clear_option();
  }
  expect_pass(&Helpers::validate_slist, list);
}

TEST(ValidateSubscriptions, RefusesAnEmptyList) {
  expect_refused(&Helpers::validate_subscriptions, List(), "Empty subscription list");
}

TEST(ValidateSubscriptions, PassesSampleSubscriptionsWhateverTheirPathAndInterval) {
  List list;
  add_sample(list)->set_sample_interval(1);
  add_sample(list)->mutable_path()->add_elem()->set_name("not an identifier");
  expect_pass(&Helpers::validate_subscriptions, list);
}

TEST(ValidateSubscriptions, PassesAModeAboveSample) {
  List list;
  add_sample(list)->set_mode(static_cast<gnmi::SubscriptionMode>(3));
  expect_pass(&Helpers::validate_subscriptions, list);
}

TEST(ValidateSubscriptions, RefusesTheOtherModesByName) {
  List list;
  add_sample(list)->set_mode(gnmi::ON_CHANGE);
  expect_refused(&Helpers::validate_subscriptions, list,
                 "Unsupported subscription mode selection [ ON_CHANGE on sub index [ 0 ]]");
  list.mutable_subscription(0)->set_mode(gnmi::TARGET_DEFINED);
  expect_refused(&Helpers::validate_subscriptions, list,
                 "Unsupported subscription mode selection [ TARGET_DEFINED on sub index [ 0 ]]");
}

TEST(ValidateSubscriptions, RefusesSuppressionOfRedundantSamples) {
  List list;
  add_sample(list)->set_suppress_redundant(true);
  expect_refused(
      &Helpers::validate_subscriptions, list,
      "Unsupported subscription suppress_redundant selection [ true on sub index [ 0 ]]");
}

TEST(ValidateSubscriptions, ReportsTheHeartbeatOfTheSecondSubscription) {
  List list;
  add_sample(list);
  add_sample(list)->set_heartbeat_interval(10);
  expect_refused(&Helpers::validate_subscriptions, list,
                 "Unsupported subscription heartbeat_interval selection [ 10 on sub index [ 1 ]]");
}

TEST(ValidateSubscriptions, PrintsTheLargestHeartbeatUnsigned) {
  List list;
  add_sample(list)->set_heartbeat_interval(18446744073709551615ULL);
  expect_refused(&Helpers::validate_subscriptions, list,
                 "Unsupported subscription heartbeat_interval selection [ 18446744073709551615 on "
                 "sub index [ 0 ]]");
}

TEST(ValidateSubscriptions, ModeComesBeforeSuppressionBeforeHeartbeat) {
  List list;
  gnmi::Subscription* subscription = add_sample(list);
  subscription->set_mode(gnmi::ON_CHANGE);
  subscription->set_suppress_redundant(true);
  subscription->set_heartbeat_interval(5);
  expect_refused(&Helpers::validate_subscriptions, list,
                 "Unsupported subscription mode selection [ ON_CHANGE on sub index [ 0 ]]");
  subscription->set_mode(gnmi::SAMPLE);
  expect_refused(
      &Helpers::validate_subscriptions, list,
      "Unsupported subscription suppress_redundant selection [ true on sub index [ 0 ]]");
}

TEST(ValidateSubscriptions, TheFirstBadSubscriptionIsReported) {
  List list;
  add_sample(list);
  add_sample(list)->set_heartbeat_interval(7);
  add_sample(list)->set_mode(gnmi::ON_CHANGE);
  expect_refused(&Helpers::validate_subscriptions, list,
                 "Unsupported subscription heartbeat_interval selection [ 7 on sub index [ 1 ]]");
}

TEST(ValidateSubscribe, PassesARequestThatCarriesASubscriptionList) {
  gnmi::SubscribeRequest request;
  request.mutable_subscribe();
  nexa::Notification notification;
  EXPECT_TRUE(Helpers::validate_subscribe(request, &notification));
  EXPECT_FALSE(notification.has_status());
}

void expect_refused_method(const gnmi::SubscribeRequest& request, const std::string& message) {
  LogCapture log;
  nexa::Notification notification;
  EXPECT_FALSE(Helpers::validate_subscribe(request, &notification));
  EXPECT_EQ(notification.status().code(), 3);
  EXPECT_EQ(notification.status().message(), message);
  EXPECT_EQ(log.take(), Lines{});
}

TEST(ValidateSubscribe, RefusesAPoll) {
  gnmi::SubscribeRequest request;
  request.mutable_poll();
  expect_refused_method(request,
                        "Unsupported method[ Poll ] provided on initial subscribe request");
}

TEST(ValidateSubscribe, RefusesAliases) {
  gnmi::SubscribeRequest request;
  request.mutable_aliases();
  expect_refused_method(request,
                        "Unsupported method[ Aliases ] provided on initial subscribe request");
}

TEST(ValidateSubscribe, ReportsARequestWithNothingSetAsAliases) {
  expect_refused_method(gnmi::SubscribeRequest(),
                        "Unsupported method[ Aliases ] provided on initial subscribe request");
}

TEST(ValidatePoll, RefusesEveryLaterMessage) {
  LogCapture log;
  gnmi::SubscribeRequest poll;
  poll.mutable_poll();
  gnmi::SubscribeRequest list;
  list.mutable_subscribe();
  for (const gnmi::SubscribeRequest& request : {poll, list, gnmi::SubscribeRequest()}) {
    nexa::Notification notification;
    EXPECT_FALSE(Helpers::validate_poll(request, &notification));
    EXPECT_EQ(notification.status().code(), 3);
    EXPECT_EQ(notification.status().message(),
              "Unsupported subscribeRequest::method on active stream [ poll/aliases/change of "
              "subscriptionList ]");
  }
  EXPECT_EQ(log.take(), Lines{});
}

TEST(SubscribeRefusal, ReplacesAnEarlierVerdictAndLeavesTheRestAlone) {
  nexa::Notification notification;
  notification.mutable_status()->set_code(12);
  notification.mutable_status()->set_message("earlier");
  notification.mutable_status()->add_details();
  notification.mutable_notification()->set_timestamp(42);
  EXPECT_FALSE(Helpers::validate_subscriptions(List(), &notification));
  EXPECT_EQ(notification.status().code(), 3);
  EXPECT_EQ(notification.status().message(), "Empty subscription list");
  EXPECT_EQ(notification.status().details_size(), 1);
  EXPECT_EQ(notification.notification().timestamp(), 42);
}

}  // namespace request_validation_subscribe_test
