// What a store answers that has a configuration and nothing around it: no history, nobody who
// waits, nothing to compare. And which code a client hears of what a log could not do.
#include "store/config_store.h"

#include <gtest/gtest.h>

#include "store/commit_answer.h"

namespace nexa::store {
namespace config_store_test {

using grpc::StatusCode;

class BareSnapshot : public Snapshot {
 public:
  grpc::Status read(const Query& /*query*/, const StateTree* /*state*/,
                    const ValueSink& /*sink*/) const override {
    return grpc::Status::OK;
  }
  std::string xml() const override { return "<config/>"; }
  std::uint64_t number() const override { return 0; }
};

class BareStore : public ConfigStore {
 public:
  CommitResult commit(const CommitRequest& /*request*/) override { return {}; }
  std::shared_ptr<const Snapshot> snapshot() const override {
    return std::make_shared<BareSnapshot>();
  }
  text::Result<std::shared_ptr<const StateTree>> parse_state(
      std::string_view /*xml*/) const override {
    return std::make_shared<const StateTree>();
  }
  std::shared_ptr<const StateTree> join_states(
      std::span<const std::shared_ptr<const StateTree>> trees) const override {
    return trees.back();
  }
  grpc::Status history(std::size_t /*limit*/, std::vector<CommitRecord>& /*out*/) const override {
    return grpc::Status::OK;
  }
  CommitResult rollback(std::uint64_t /*number*/, const std::string& /*author*/,
                        const std::function<grpc::Status(const Change&)>& /*approve*/) override {
    return {};
  }
};

std::string told(const grpc::Status& status) {
  return std::to_string(status.error_code()) + " " + status.error_message();
}
std::string told(StatusCode code, const std::string& text) {
  return told(grpc::Status(code, text));
}

TEST(BareConfigStore, NothingWaitsForAConfirmation) {
  BareStore store;
  const std::string nothing =
      told(StatusCode::FAILED_PRECONDITION, "no commit waits for a confirmation");
  EXPECT_FALSE(store.pending().has_value());
  EXPECT_EQ(told(store.confirm("a")), nothing);
  EXPECT_EQ(told(store.extend("a", std::chrono::seconds(1))), nothing);
  EXPECT_EQ(told(store.cancel("a", "who", "why", nullptr).status), nothing);
}

TEST(BareConfigStore, TellsNobodyAndKeepsNoHistory) {
  BareStore store;
  class Nobody : public CommitWatcher {
   public:
    void committed(const std::shared_ptr<const CommitStep>& /*step*/) noexcept override {}
  } watcher;
  EXPECT_EQ(store.watch(watcher), nullptr);
  store.unwatch(watcher);
  const auto each = [](const CommitStep&) { return true; };
  EXPECT_EQ(told(store.replay(0, 1, each)),
            told(StatusCode::UNIMPLEMENTED, "the store keeps no history"));
}

TEST(BareConfigStore, IsInGoodHealthWhateverIsSaid) {
  BareStore store;
  store.verified(3, "a rule");
  const StoreHealth health = store.health();
  EXPECT_TRUE(health.writable);
  EXPECT_EQ(health.obstacle + health.violation, "");
  EXPECT_EQ(health.deaths + health.whole + health.verified, 0U);
}

TEST(BareConfigStore, ComparesNothing) {
  const BareSnapshot one;
  const BareSnapshot two;
  const ChangeSink sink;
  EXPECT_EQ(told(one.read_changes(Query(), two, nullptr, sink)),
            told(StatusCode::UNIMPLEMENTED, "the store does not compare snapshots"));
  EXPECT_EQ(told(one.read_state_changes(Query(), nullptr, nullptr, sink)),
            told(StatusCode::UNIMPLEMENTED, "the store does not compare operational data"));
}

TEST(CommitAnswer, SaysWhoCanMendIt) {
  using Code = LogResult::Code;
  EXPECT_EQ(code_of(Code::kDone), StatusCode::OK);
  EXPECT_EQ(code_of(Code::kFull), StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_EQ(code_of(Code::kUnavailable), StatusCode::UNAVAILABLE);
  EXPECT_EQ(code_of(Code::kUnknown), StatusCode::UNAVAILABLE);
  EXPECT_EQ(code_of(Code::kFailed), StatusCode::INTERNAL);
}

}  // namespace config_store_test
}  // namespace nexa::store
