// The history extension (gNMI conformance row 43), over the real store.
#include <limits>

#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using Mode = gnmi::SubscriptionList::Mode;
using Lines = std::vector<std::string>;

constexpr Mode kOnce = gnmi::SubscriptionList::ONCE;
constexpr Mode kStream = gnmi::SubscriptionList::STREAM;

class HistoryExtension : public StoredServiceTest {
 protected:
  void SetUp() override {
    StoredServiceTest::SetUp();
    ASSERT_EQ(update("/device/name", "\"one\""), "0 ");
    ASSERT_EQ(update("/device/name", "\"two\""), "0 ");
    ASSERT_EQ(remove("/device/name"), "0 ");
    std::vector<nexa::store::CommitRecord> records;
    ASSERT_TRUE(real_store->history(0, records).ok());
    for (auto record = records.rbegin(); record != records.rend(); ++record) {
      times_.push_back(record->time_ns);
    }
    ASSERT_EQ(times_.size(), 3U);
  }

  static gnmi::SubscribeRequest asked(Mode mode, const Lines& paths = {"/device/name"}) {
    gnmi::SubscribeRequest history = watch(paths, 0);
    history.mutable_subscribe()->set_mode(mode);
    return history;
  }
  static gnmi::SubscribeRequest at(std::int64_t time, Mode mode = kOnce) {
    gnmi::SubscribeRequest history = asked(mode);
    history.add_extension()->mutable_history()->set_snapshot_time(time);
    return history;
  }
  static gnmi::SubscribeRequest between(std::int64_t start, std::int64_t end, Mode mode = kStream,
                                        const Lines& paths = {"/device/name"}) {
    gnmi::SubscribeRequest history = asked(mode, paths);
    gnmi_ext::TimeRange& range = *history.add_extension()->mutable_history()->mutable_range();
    range.set_start(start);
    range.set_end(end);
    return history;
  }
  // Every message, then how it ended.
  Lines all(const gnmi::SubscribeRequest& history) {
    StreamClient client(stub(), history);
    Lines lines;
    std::string line;
    while (client.read(line)) {
      if (client.last().has_update()) stamps_.push_back(client.last().update().timestamp());
      lines.push_back(line);
    }
    lines.push_back(client.end());
    return lines;
  }

  std::vector<std::int64_t> times_;
  std::vector<std::int64_t> stamps_;
};

TEST_F(HistoryExtension, Row43ASnapshotIsWhatWasThere) {
  EXPECT_EQ(all(at(times_[0] - 1)), (Lines{"sync", "0 "}));
  EXPECT_EQ(all(at(times_[0])), (Lines{"|/device/name=\"one\"", "sync", "0 "}));
  EXPECT_EQ(all(at(times_[1] - 1)), (Lines{"|/device/name=\"one\"", "sync", "0 "}));
  EXPECT_EQ(all(at(times_[1])), (Lines{"|/device/name=\"two\"", "sync", "0 "}));
  EXPECT_EQ(all(at(times_[2])), (Lines{"sync", "0 "}));
  EXPECT_EQ(stamps_[0], times_[0] + 1);
}

TEST_F(HistoryExtension, Row43DefaultsInUseAreValues) {
  gnmi::SubscribeRequest history = asked(kOnce, {"/device/location"});
  history.add_extension()->mutable_history()->set_snapshot_time(times_[0]);
  EXPECT_EQ(all(history), (Lines{"|/device/location=\"unknown\"", "sync", "0 "}));
}

TEST_F(HistoryExtension, Row43ARangeReplaysItsCommitsAndEnds) {
  EXPECT_EQ(
      all(between(times_[1], times_[2] + 1)),
      (Lines{"|/device/name=\"one\"", "sync", "|/device/name=\"two\"", "|-/device/name", "0 "}));
  EXPECT_EQ(stamps_, (std::vector<std::int64_t>{times_[1], times_[1], times_[2]}));
}

TEST_F(HistoryExtension, Row43TheEndOfARangeIsNotInIt) {
  EXPECT_EQ(all(between(times_[1], times_[2])),
            (Lines{"|/device/name=\"one\"", "sync", "|/device/name=\"two\"", "0 "}));
  EXPECT_EQ(all(between(times_[1], times_[1])), (Lines{"|/device/name=\"one\"", "sync", "0 "}));
}

TEST_F(HistoryExtension, Row43UpdatesOnlyLeavesOutWhatWasThere) {
  gnmi::SubscribeRequest history = between(times_[1], times_[2] + 1);
  history.mutable_subscribe()->set_updates_only(true);
  EXPECT_EQ(all(history), (Lines{"sync", "|/device/name=\"two\"", "|-/device/name", "0 "}));
}

TEST_F(HistoryExtension, Row43ACommitThatDoesNotTouchThePathGivesNothing) {
  EXPECT_EQ(all(between(times_[0], times_[2] + 1, kStream, {"/device/port"})),
            (Lines{"sync", "0 "}));
}

TEST_F(HistoryExtension, Row43OtherModesAreRefused) {
  EXPECT_EQ(all(at(times_[0], kStream)),
            (Lines{"3 Extension history: a snapshot_time needs mode ONCE"}));
  EXPECT_EQ(all(at(times_[0], gnmi::SubscriptionList::POLL)),
            (Lines{"3 Extension history: a snapshot_time needs mode ONCE"}));
  EXPECT_EQ(all(between(times_[0], times_[1], kOnce)),
            (Lines{"3 Extension history: a range needs mode STREAM"}));
}

TEST_F(HistoryExtension, Row43WhatTheExtensionHasToSay) {
  EXPECT_EQ(all(between(times_[1], times_[0])),
            (Lines{"3 Extension history: the range ends before it starts"}));
  const std::int64_t ever = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(all(at(ever)), (Lines{"12 Extension history: times in the future are not waited for"}));
  EXPECT_EQ(all(between(times_[0], ever)),
            (Lines{"12 Extension history: times in the future are not waited for"}));
  gnmi::SubscribeRequest empty = asked(kOnce);
  empty.add_extension()->mutable_history();
  EXPECT_EQ(all(empty), (Lines{"3 Extension history without a snapshot_time or a range"}));
  gnmi::SubscribeRequest twice = at(times_[0]);
  twice.add_extension()->mutable_history()->set_snapshot_time(times_[1]);
  EXPECT_EQ(all(twice), (Lines{"3 Extension history is given twice"}));
}

TEST_F(HistoryExtension, AWholeRangeOfTheRoot) {
  const Lines lines = all(between(0, times_[2] + 1, kStream, {"/device"}));
  EXPECT_EQ(lines.back(), "0 ");
  EXPECT_EQ(lines[lines.size() - 2], "|-/device/name");
}

TEST_F(HistoryExtension, TheDeviceProfileKnowsNoneOfIt) {
  stop();
  options.profile = nexa::profile::Profile::kDevice;
  start();
  EXPECT_EQ(all(between(times_[0], times_[1])), (Lines{"12 Extension history not supported"}));
}

}  // namespace
}  // namespace nexa_test
