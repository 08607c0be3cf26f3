// User-ordered entries whose keys hold both kinds of quotes: libyang cannot write where such an
// entry stands, so their changes are judged and recorded as a whole.
#include "store_fixture.h"

namespace store_quoted_keys_test {

using namespace nexa_test;

constexpr char kSteps[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s";
  prefix s;
  revision 2026-01-01;
  container top {
    leaf mode { type string; default "fast"; }
    leaf note { type string; when "../mode = 'slow'"; }
    leaf first { type leafref { path "../step/name"; } }
    list step {
      key "name";
      ordered-by user;
      leaf name { type string; }
      leaf pace { type uint8; default 4; }
    }
  }
})yang";

constexpr char kBoth[] = "a\"b'c";

std::string step(const std::string& name) { return "<step><name>" + name + "</name></step>"; }

class QuotedKeys : public StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("s", kSteps), "");
    open();
    ASSERT_NE(store_, nullptr) << error_;
  }

  // The names of the entries in their order, each followed by a blank.
  std::string order() const {
    nexa::store::Query query;
    query.target = target_of(path_of("/top/step"), nexa::model::Purpose::kRead);
    std::string names;
    EXPECT_TRUE(store_->snapshot()
                    ->read(query, nullptr,
                           [&](gnmi::Path& at, gnmi::TypedValue&) {
                             names += at.elem(1).key().at("name") + " ";
                           })
                    .ok());
    return names;
  }
};

TEST_F(QuotedKeys, EntriesComeMoveAndGo) {
  EXPECT_EQ(commit_text({update(step("x") + step(kBoth) + step("y"))}), "");
  EXPECT_EQ(order(), "x a\"b'c y ");
  EXPECT_EQ(commit_text({put("/top/step", step(kBoth) + step("y") + step("z") + step("x"))}), "");
  EXPECT_EQ(order(), "a\"b'c y z x ");
  EXPECT_EQ(commit_text({drop("/top/step[name=y]"), drop("/top/step[name=x]")}), "");
  EXPECT_EQ(order(), "a\"b'c z ");
  EXPECT_EQ(read_text(*store_, "/top/step[name=z]/pace"), "/top/step[name=z]/pace=4\n");
  const std::string before = xml();
  open();
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(xml(), before);
  EXPECT_EQ(order(), "a\"b'c z ");
}

TEST_F(QuotedKeys, ConstraintsAreAskedForAndNothingOfARefusalStays) {
  EXPECT_EQ(commit_text({update(step(kBoth) + step("x") + "<first>x</first>")}), "");
  const std::string before = xml();
  EXPECT_NE(commit_text({put("/top/step", step("y") + step(kBoth) + step("z"))}), "");
  EXPECT_NE(commit_text({update(step("u") + "<note>n</note>")}), "");
  EXPECT_EQ(xml(), before);
  EXPECT_EQ(commit_text({update(step("u") + "<mode>slow</mode><note>n</note>")}), "");
  EXPECT_EQ(read_text(*store_, "/top/note"), "/top/note=\"n\"\n");
  // A condition that is false from now on takes its node along.
  EXPECT_EQ(commit_text({update(step("v") + "<mode>fast</mode>")}), "");
  EXPECT_EQ(read_text(*store_, "/top/note"), "");
  EXPECT_EQ(order(), "a\"b'c x u v ");
}

TEST_F(QuotedKeys, RollbackRestoresTheirOrder) {
  EXPECT_EQ(commit_text({update(step("x") + step(kBoth) + step("y"))}), "");
  const std::string first = xml();
  EXPECT_EQ(commit_text({put("/top/step", step(kBoth) + step("y") + step("x"))}), "");
  const CommitResult result = store_->rollback(1, "tester", nullptr);
  EXPECT_TRUE(result.status.ok()) << result.status.error_message();
  EXPECT_EQ(xml(), first);
  EXPECT_EQ(order(), "x a\"b'c y ");
}

}  // namespace store_quoted_keys_test
