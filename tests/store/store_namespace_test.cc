// A namespace is any URI, also one that XML has to write in another way.
#include "store_fixture.h"

namespace nexa_test {
namespace store_namespace_test {

constexpr char kModule[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s?a&b<c>'d";
  prefix s;
  identity base;
  identity kind { base base; }
  container top {
    leaf name { type string; }
    leaf id { type identityref { base base; } }
    list port { key id; leaf id { type identityref { base base; } } leaf mode { type string; } }
  }
})yang";
constexpr char kTop[] = "<top xmlns=\"urn:s?a&amp;b&lt;c>'d\">";

class StoreNamespace : public StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("s", kModule), "");
    open();
  }
  static Edit update(const std::string& inner) {
    return {Edit::Kind::kUpdate, {}, std::string("<config>") + kTop + inner + "</top></config>"};
  }
};

TEST_F(StoreNamespace, OfSignsThatXmlEscapes) {
  ASSERT_EQ(commit_text({update("<name>n</name><id>kind</id><port><id>kind</id></port>")}), "");
  ASSERT_EQ(commit_text({update("<port><id>kind</id><mode>m</mode></port>")}), "");
  const std::string kept = xml();
  EXPECT_NE(kept.find(kTop), std::string::npos) << kept;
  EXPECT_EQ(read_text(*store_, "/s:top/id"), "/s:top/id=\"s:kind\"\n");
  open();
  ASSERT_EQ(error_, "");
  EXPECT_EQ(xml(), kept);
  ASSERT_EQ(commit_text({drop("/s:top/port[id=s:kind]")}), "");
  ASSERT_TRUE(store_->rollback(2, "tester", nullptr).status.ok());
  EXPECT_EQ(xml(), kept);
  open();
  EXPECT_EQ(xml(), kept);
}

}  // namespace store_namespace_test
}  // namespace nexa_test
