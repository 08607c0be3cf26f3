// Which configurations are known to be valid as a whole, also after a start.
#include "store_findings.h"

namespace nexa_test::findings {
namespace {

class StoreVerified : public StoreFindings {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("s", module_of("leaf-list v { type uint32; }")), "");
    open();
    std::string many;
    for (int value = 0; value < 1000; ++value) many += one(value);
    ASSERT_EQ(text(update(many)), "");
  }

  static std::string one(int value) {
    return "<v xmlns=\"urn:s\">" + std::to_string(value) + "</v>";
  }
  // Each commit is followed by a snapshot.
  void open() {
    store_.reset();
    nexa::store::TreeStoreOptions options;
    options.directory = folder_.file("data");
    options.sync = false;
    options.commits_per_snapshot = 1;
    store_ = value_of(nexa::store::open_tree_store(options));
  }
  std::uint64_t verified() const { return store_->health().verified; }
};

TEST_F(StoreVerified, ACommitThatWasJudgedByWhatItTouchesIsNot) {
  EXPECT_EQ(verified(), 1U);
  ASSERT_EQ(text(update(one(1000))), "");
  EXPECT_EQ(verified(), 1U);
  open();
  EXPECT_LT(verified(), 2U);
}

// Division by what may be 0 is judged in a process of its own, and as a whole.
class StoreVerifiedInAChild : public StoreFindings {};

TEST_F(StoreVerifiedInAChild, ACommitIs) {
  start(
      "container top { leaf a { type uint8; } leaf b { type uint8; must \"1 mod ../a = 1\"; }"
      " leaf-list c { type uint8; } }");
  ASSERT_EQ(text(top("<a>2</a><b>1</b><c>1</c><c>2</c><c>3</c><c>4</c>")), "");
  EXPECT_EQ(store_->health().verified, 1U);
  ASSERT_EQ(text(top("<b>2</b>")), "");
  EXPECT_NE(text(top("<a>1</a>")), "");
  ASSERT_EQ(text(top("<c>5</c>")), "");
  const nexa::store::StoreHealth health = store_->health();
  EXPECT_EQ(health.deaths, 0U);
  EXPECT_GT(health.verified, 1U);
  expect_json(R"({"s:top":{"a":2,"b":2,"c":[1,2,3,4,5]}})");
}

TEST_F(StoreVerified, WhatWasVerifiedIsAfterAStart) {
  ASSERT_EQ(text(update(one(1000))), "");
  store_->verified(2, "");
  EXPECT_EQ(verified(), 2U);
  open();
  EXPECT_EQ(verified(), 2U);
}

TEST_F(StoreVerified, AnOlderVerdictTakesNothingBack) {
  ASSERT_EQ(text(update(one(1000))), "");
  store_->verified(2, "");
  store_->verified(1, "");
  EXPECT_EQ(verified(), 2U);
  store_->verified(1, "a rule");
  EXPECT_EQ(store_->health().violation, "");
  store_->verified(2, "a rule");
  EXPECT_EQ(store_->health().violation, "commit 2: a rule");
  ASSERT_EQ(text(update(one(1001))), "");
  store_->verified(3, "");
  EXPECT_EQ(store_->health().violation, "");
}

}  // namespace
}  // namespace nexa_test::findings
