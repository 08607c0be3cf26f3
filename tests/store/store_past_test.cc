// The configuration as it was, and the commits between two moments.
#include <chrono>
#include <limits>
#include <thread>

#include "store_fixture.h"

namespace {

using namespace nexa_test;
using nexa::store::CommitStep;

constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::max();

class StorePast : public StoreTest {
 protected:
  std::int64_t set(const std::string& inner) {
    const CommitResult result = commit({update(inner)});
    EXPECT_TRUE(result.status.ok()) << result.status.error_message();
    return result.time_ns;
  }
  // "NUMBER SPEED" of each step's snapshot, one in a line; the refusal otherwise.
  std::string steps(std::int64_t start_ns, std::int64_t end_ns) const {
    std::string text;
    std::uint64_t before = 0;
    const grpc::Status status = store_->replay(start_ns, end_ns, [&](const CommitStep& step) {
      EXPECT_EQ(step.before == nullptr, text.empty());
      if (step.before != nullptr) {
        EXPECT_EQ(step.before->number(), before);
      }
      before = step.after->number();
      text += std::to_string(before) + " " + value_of(*step.after) + "\n";
      return true;
    });
    return status.ok() ? text : status.error_message();
  }
  static std::string value_of(const nexa::store::Snapshot& snapshot) {
    nexa::store::Query query;
    query.target = target_of(path_of("/s:top/speed"), nexa::model::Purpose::kRead);
    std::string text;
    EXPECT_TRUE(snapshot
                    .read(query, nullptr,
                          [&](gnmi::Path& /*path*/, gnmi::TypedValue& value) {
                            text += value.json_ietf_val();
                          })
                    .ok());
    return text;
  }
};

TEST_F(StorePast, BeforeTheFirstCommitThereAreDefaults) {
  const std::int64_t first = set("<speed>1</speed>");
  EXPECT_EQ(steps(first, first), "0 100\n");
  EXPECT_EQ(steps(0, 0), "0 100\n");
}

TEST_F(StorePast, AMomentIsWhatTheCommitBeforeItLeft) {
  const std::int64_t first = set("<speed>1</speed>");
  const std::int64_t second = set("<speed>2</speed>");
  EXPECT_EQ(steps(first + 1, first + 1), "1 1\n");
  EXPECT_EQ(steps(second, second), "1 1\n");
  EXPECT_EQ(steps(second + 1, second + 1), "2 2\n");
  EXPECT_EQ(steps(kEver, kEver), "2 2\n");
}

TEST_F(StorePast, ARangeHasEachOfItsCommits) {
  const std::int64_t first = set("<speed>1</speed>");
  const std::int64_t second = set("<speed>2</speed>");
  const std::int64_t third = set("<speed>3</speed>");
  EXPECT_EQ(steps(0, kEver), "0 100\n1 1\n2 2\n3 3\n");
  EXPECT_EQ(steps(second, third), "1 1\n2 2\n");
  EXPECT_EQ(steps(first + 1, third + 1), "1 1\n2 2\n3 3\n");
  EXPECT_EQ(steps(third + 1, kEver), "3 3\n");
}

TEST_F(StorePast, ALongRangeIsReadInPieces) {
  for (int i = 1; i <= 250; ++i) set("<speed>" + std::to_string(i) + "</speed>");
  std::string expected = "0 100\n";
  for (int i = 1; i <= 250; ++i) {
    expected += std::to_string(i) + " " + std::to_string(i) + "\n";
  }
  EXPECT_EQ(steps(0, kEver), expected);
}

TEST_F(StorePast, TheCallerMayEndIt) {
  set("<speed>1</speed>");
  set("<speed>2</speed>");
  int calls = 0;
  EXPECT_TRUE(store_->replay(0, kEver, [&](const CommitStep&) { return ++calls < 2; }).ok());
  EXPECT_EQ(calls, 2);
}

TEST_F(StorePast, WhatIsNoMoreKeptIsOutOfRange) {
  commits_per_snapshot_ = 1;
  history_limit_ = 2;
  open();
  const std::int64_t first = set("<speed>1</speed>");
  std::int64_t last = first;
  for (int i = 2; i < 30; ++i) last = set("<speed>" + std::to_string(i) + "</speed>");
  open();  // waits for snapshots
  for (int i = 0; i < 1000 && steps(first + 1, first + 1) == "1 1\n"; ++i) {
    last = set("<speed>" + std::to_string(100 + i) + "</speed>");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  const grpc::Status status = store_->replay(first, kEver, [](const CommitStep&) { return true; });
  EXPECT_EQ(status.error_code(), grpc::StatusCode::OUT_OF_RANGE);
  EXPECT_EQ(status.error_message(), "the history does not go back that far");
  EXPECT_NE(steps(last + 1, last + 1), status.error_message());
}

TEST_F(StorePast, CommitsGoOnMeanwhile) {
  set("<speed>1</speed>");
  set("<speed>2</speed>");
  std::string seen;
  EXPECT_TRUE(store_
                  ->replay(0, kEver,
                           [&](const CommitStep& step) {
                             seen += std::to_string(step.after->number()) + " ";
                             set("<speed>" + std::to_string(10 + step.after->number()) +
                                 "</speed>");
                             return true;
                           })
                  .ok());
  EXPECT_EQ(seen, "0 1 2 3 ");
  EXPECT_EQ(store_->snapshot()->number(), 6U);
}

}  // namespace
