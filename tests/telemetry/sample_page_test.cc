// Pages of a round, and what is remembered of a round's paths.
#include "telemetry/sample_page.h"
#include "telemetry/round_reader.h"

#include <gtest/gtest.h>

#include "server/support/service_fixture.h"
#include "telemetry/path_log.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

using nexa::telemetry::AnswerPrefix;
using nexa::telemetry::PathLog;
using nexa::telemetry::QueuedMessage;
using nexa::telemetry::SamplePage;
using nexa::telemetry::Subscription;
using nexa::telemetry::SubscriptionPlan;

using Lines = std::vector<std::string>;

Lines missing(const PathLog& earlier, const PathLog& later) {
  Lines lines;
  earlier.for_each_missing(
      later, [&](gnmi::Path& path) { lines.push_back(nexa::translate::format_path_string(path)); });
  return lines;
}

PathLog log_of(const Lines& paths) {
  PathLog log;
  for (const std::string& path : paths) log.add(PathLog::encode(path_of(path)));
  return log;
}

TEST(PathLog, GivesBackThePathsThatAreMissing) {
  const PathLog earlier =
      log_of({"/a/b", "/a/list[k=1]/x", "/a/list[k=1][l=2]/x", "/a/list[k=2]/x", "/c"});
  EXPECT_EQ(missing(earlier, earlier), Lines());
  EXPECT_EQ(missing(earlier, log_of({"/a/list[k=2]/x", "/c", "/new"})),
            (Lines{"/a/b", "/a/list[k=1]/x", "/a/list[k=1][l=2]/x"}));
  EXPECT_EQ(missing(earlier, PathLog()).size(), 5U);
  EXPECT_EQ(missing(PathLog(), earlier), Lines());
}

TEST(PathLog, TellsNamesKeysAndValuesApart) {
  const Lines similar = {"/a",      "/a/a",         "/aa",          "/a[a=a]",   "/a[a=]",
                         "/a[aa=]", "/a[a=a][b=b]", "/a[a=b][b=a]", "/a[b=a]/a", "/a/a[b=a]",
                         "/"};
  for (const std::string& left : similar) {
    for (const std::string& right : similar) {
      EXPECT_EQ(missing(log_of({left}), log_of({right})), left == right ? Lines() : Lines{left});
    }
  }
}

TEST(PathLog, TheOrderOfKeysDoesNotCount) {
  gnmi::Path left = path_of("/a");
  gnmi::Path right = path_of("/a");
  for (int key = 0; key < 20; ++key) {
    (*left.mutable_elem(0)->mutable_key())["k" + std::to_string(key)] = "v";
    (*right.mutable_elem(0)->mutable_key())["k" + std::to_string(19 - key)] = "v";
  }
  EXPECT_EQ(PathLog::number_of(left), PathLog::number_of(right));
}

TEST(PathLog, HoldsLongValues) {
  const std::string path = "/a[k=" + std::string(100000, 'x') + "]/b";
  EXPECT_EQ(missing(log_of({"/a", path}), PathLog()), (Lines{"/a", path}));
}

TEST(AnswerPrefix, CoversWhatLiesBelowIt) {
  const AnswerPrefix prefix(path_of("/a/list[k=1]"), true);
  EXPECT_TRUE(prefix.covers(path_of("/a/list[k=1]")));
  EXPECT_TRUE(prefix.covers(path_of("/a/list[k=1]/x")));
  EXPECT_FALSE(prefix.covers(path_of("/a")));
  EXPECT_FALSE(prefix.covers(path_of("/a/list[k=2]/x")));
  EXPECT_FALSE(prefix.covers(path_of("/a/list[k=1][l=2]/x")));
  EXPECT_FALSE(prefix.covers(path_of("/b/list[k=1]/x")));
  gnmi::Path path = path_of("/a/list[k=1]/x");
  prefix.make_relative(path);
  EXPECT_EQ(nexa::translate::format_path_string(path), "/x");
  EXPECT_EQ(AnswerPrefix(gnmi::Path(), false).shown(true), nullptr);
}

// Reads a subscription to /device page by page.
class Pages : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"a", "b", "c", "d", "e", "f"}) {
      store.put("/device/" + std::string(name), "\"" + std::string(100, 'x') + "\"");
    }
    plan.subscriptions.resize(1);
    subscription().query.target.path = path_of("/device");
    subscription().query.form = nexa::store::Form::kLeaves;
  }

  Subscription& subscription() { return plan.subscriptions.front(); }

  // The names of the leaves of one page, vanished ones with "-"; "." when the round is complete.
  std::string page(std::size_t budget) {
    SamplePage page(plan, budget);
    bool complete = false;
    EXPECT_TRUE(
        read_page(plan, {*store.snapshot(), nullptr}, {}, subscription(), page, complete).ok());
    std::string names;
    for (const QueuedMessage& message : page.take()) {
      const gnmi::Notification& notification = message.response.update();
      for (const gnmi::Update& update : notification.update()) {
        names += update.path().elem(1).name();
      }
      for (const gnmi::Path& path : notification.delete_()) names += "-" + path.elem(1).name();
      EXPECT_GE(message.bytes + 64, message.response.ByteSizeLong());
    }
    return names + (complete ? "." : "");
  }

  FakeStore store;
  SubscriptionPlan plan;
};

TEST_F(Pages, EndWhereTheBudgetEnds) {
  EXPECT_EQ(page(1), "a");
  EXPECT_EQ(page(200), "bc");
  EXPECT_EQ(page(100000), "def.");
  EXPECT_EQ(page(100000), "abcdef.");
  EXPECT_EQ(page(0), "");
}

TEST_F(Pages, ReportALeafOnceAlsoWhenOthersComeAndGo) {
  EXPECT_EQ(page(200), "ab");
  store.put("/device/0", "1");
  store.remove("/device/a");
  store.remove("/device/d");
  EXPECT_EQ(page(100000), "0cef.");
  EXPECT_EQ(page(100000), "0bcef-a.");
}

TEST_F(Pages, HaveNoPathTwiceInAMessage) {
  plan.subscriptions.resize(3);
  for (Subscription& each : plan.subscriptions) {
    each.query.target.path = path_of("/device");
    each.query.form = nexa::store::Form::kLeaves;
  }
  plan.subscriptions[1].query.target.path = path_of("/device/c");
  SamplePage page(plan, 100000);
  for (Subscription& each : plan.subscriptions) {
    bool complete = false;
    EXPECT_TRUE(read_page(plan, {*store.snapshot(), nullptr}, {}, each, page, complete).ok());
  }
  Lines messages;
  for (const QueuedMessage& message : page.take()) {
    std::string& names = messages.emplace_back();
    for (const gnmi::Update& update : message.response.update().update()) {
      names += update.path().elem(1).name();
    }
  }
  EXPECT_EQ(messages, (Lines{"abcdef", "cab", "cdef"}));
}

TEST_F(Pages, HaveNoMoreLeavesInAMessageThanAreAllowed) {
  plan.most_updates = 4;
  SamplePage page(plan, 100000);
  bool complete = false;
  EXPECT_TRUE(
      read_page(plan, {*store.snapshot(), nullptr}, {}, subscription(), page, complete).ok());
  const auto messages = page.take();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[0].response.update().update_size(), 4);
  EXPECT_EQ(messages[1].response.update().update_size(), 2);
}

TEST_F(Pages, ReportWhatIsGoneOnce) {
  EXPECT_EQ(page(100000), "abcdef.");
  store.remove("/device/c");
  EXPECT_EQ(page(100000), "abdef-c.");
  EXPECT_EQ(page(100000), "abdef.");
}

}  // namespace
}  // namespace nexa_test
