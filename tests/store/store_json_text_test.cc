// Anydata keep the JSON text that a client gave them: what is below them has no types that would
// tell a number from a string.
#include "store_fixture.h"

namespace nexa_test {
namespace store_json_text_test {

using nexa::store::Edit;

constexpr char kModule[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s";
  prefix s;
  container top {
    leaf name { type string; }
    anydata vendor;
    container inner { anydata other; }
  }
})yang";

std::string marked(const std::string& name, const std::string& json, const std::string& inner) {
  return "<" + name + " xmlns:json=\"urn:nexa:params:xml:ns:json:1.0\" json:value=\"" + json +
         "\">" + inner + "</" + name + ">";
}

class StoreJsonText : public StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("s", kModule), "");
    open();
  }
  std::string read(const std::string& path) const { return read_text(*store_, path); }
};

constexpr char kNumber[] = "{&quot;a&quot;:1}";
constexpr char kString[] = "{&quot;a&quot;:&quot;1&quot;}";

TEST_F(StoreJsonText, IsReadAsItWasGiven) {
  ASSERT_EQ(commit_text({update(marked("vendor", kNumber, "<a>1</a>"))}), "");
  EXPECT_EQ(read("/s:top/vendor"), "/s:top/vendor={\"a\":1}\n");
  EXPECT_EQ(read("/s:top"), "/s:top={\"s:vendor\":{\"a\":1}}\n");
  const std::string kept = xml();
  EXPECT_NE(kept.find(std::string("json:value=\"") + kNumber + "\""), std::string::npos) << kept;
  open();
  EXPECT_EQ(xml(), kept);
  EXPECT_EQ(read("/s:top/vendor"), "/s:top/vendor={\"a\":1}\n");
}

// The elements are the same: the text alone makes the change.
TEST_F(StoreJsonText, AnotherTextIsAChange) {
  ASSERT_EQ(commit({update(marked("vendor", kNumber, "<a>1</a>"))}).number, 1U);
  ASSERT_EQ(commit({update(marked("vendor", kString, "<a>1</a>"))}).number, 2U);
  EXPECT_EQ(read("/s:top/vendor"), "/s:top/vendor={\"a\":\"1\"}\n");
  EXPECT_EQ(commit({update(marked("vendor", kString, "<a>1</a>"))}).number, 2U);
  open();
  EXPECT_EQ(read("/s:top/vendor"), "/s:top/vendor={\"a\":\"1\"}\n");
  ASSERT_TRUE(store_->rollback(1, "tester", nullptr).status.ok());
  EXPECT_EQ(read("/s:top/vendor"), "/s:top/vendor={\"a\":1}\n");
  open();
  EXPECT_EQ(read("/s:top/vendor"), "/s:top/vendor={\"a\":1}\n");
}

TEST_F(StoreJsonText, OneThatComesWithoutIsReadByItsElements) {
  ASSERT_EQ(commit_text({update(marked("vendor", kNumber, "<a>1</a>"))}), "");
  ASSERT_EQ(commit_text({update("<vendor><a xmlns=\"\">1</a></vendor>")}), "");
  EXPECT_EQ(read("/s:top/vendor"), "/s:top/vendor={\"a\":\"1\"}\n");
  EXPECT_EQ(xml().find("json:value"), std::string::npos) << xml();
}

TEST_F(StoreJsonText, StandsWhereTheElementIsEmpty) {
  ASSERT_EQ(commit_text({update(marked("vendor", "{&quot;a&quot;:[]}", "") + "<inner>" +
                                marked("other", "{&quot;b&quot;:null}", "") + "</inner>")}),
            "");
  EXPECT_EQ(read("/s:top"),
            "/s:top={\"s:vendor\":{\"a\":[]},\"s:inner\":{\"other\":{\"b\":null}}}\n");
  const std::string kept = xml();
  open();
  EXPECT_EQ(xml(), kept);
  EXPECT_EQ(read("/s:top/inner/other"), "/s:top/inner/other={\"b\":null}\n");
}

}  // namespace store_json_text_test
}  // namespace nexa_test
