// Operational data that libyang reads and cannot print, or dies of.
#include "store/unbound_names.h"
#include "store/tree_snapshot.h"
#include "store_fixture.h"

namespace unbound_names_test {

using namespace nexa_test;

constexpr char kModule[] = R"(module v {
  yang-version 1.1;
  namespace "urn:v";
  prefix v;
  container c { config false; anydata any; }
})";

class UnboundNames : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("v", kModule), "");
    nexa::store::number_schema();
  }
  // The refusal of what stands in the anydata; empty when it is taken.
  static std::string verdict(const std::string& inner) {
    const auto tree =
        nexa::store::parse_state_tree("<s><c xmlns=\"urn:v\"><any>" + inner + "</any></c></s>");
    EXPECT_TRUE(!tree.ok() || tree.value() != nullptr);
    return nexa_test::line_of(tree);
  }
};

TEST_F(UnboundNames, IsRefused) {
  EXPECT_EQ(verdict("<p:y/>"), "\"p:y\": the prefix stands for no namespace");
  EXPECT_EQ(verdict("<a><b/><b><p:y>1</p:y></b></a>"),
            "\"p:y\": the prefix stands for no namespace");
}

TEST_F(UnboundNames, OfOneNameManyTimesAreRefused) {
  std::string many;
  for (int i = 0; i < 40; ++i) many += "<n" + std::to_string(i) + "/>";
  EXPECT_EQ(verdict(many + "<x xmlns=\"\"/><x xmlns=\"\"/>"),
            "\"x\": the element stands in no namespace");
  EXPECT_EQ(verdict(many + "<p:x/><x/><q:x/>"), "\"p:x\": the prefix stands for no namespace");
  EXPECT_EQ(verdict(many + "<x/><x/>"), "");
}

TEST_F(UnboundNames, AreFoundWhereverTheyStand) {
  using nexa::store::unbound_name;
  EXPECT_EQ(unbound_name("<a xmlns='u'><!-- <p:b> --><![CDATA[<p:c>]]><?p:d <p:e> ?>x</a>"), "");
  for (const char* const other : {"x", "<!-- -->", "<![CDATA[x]]>", "<?c ?>", "<c/>", "<c></c>"}) {
    EXPECT_EQ(unbound_name("<a xmlns='u'>" + std::string(other) + "<p:b/></a>"), "p:b") << other;
  }
  EXPECT_EQ(unbound_name("<a xmlns='u'><p:b q:c='1'/><q:d/></a>"), "p:b") << "the first";
  EXPECT_EQ(unbound_name("<a xmlns='u' p:b='1' q:c='1'/>"), "p:b");
  EXPECT_EQ(unbound_name("<a b='1'><c xmlns='u'/></a>"), "");
  EXPECT_EQ(unbound_name("<a xmlns='u'><b xmlns:p='v'><p:c/></b><p:d/></a>"), "p:d");
  EXPECT_EQ(unbound_name("<a xmlns='u'><b xmlns:p = \"v\" /><p:c></p:c></a>"), "p:c");
  EXPECT_EQ(unbound_name("<a xmlns='u'><b xmlns:p=''><p:c/></b></a>"), "p:c");
  EXPECT_EQ(unbound_name("<a xmlns='u'><b c='>' p:d='1'/></a>"), "p:d");
  EXPECT_EQ(unbound_name("<a xmlns='u'><b xml:lang='en' c='p:d'/></a>"), "");
  EXPECT_EQ(unbound_name("<a><b/></a>"), "b");
  EXPECT_EQ(unbound_name("<a/><p:b/>"), "p:b");
  EXPECT_EQ(unbound_name("<a xmlns='u'><b xmlns=''/><c/></a>"), "b");
  EXPECT_EQ(unbound_name("<a xmlns='u'></a></a><p:b/>"), "") << "no XML behind the second end";
  for (const char* const broken :
       {"<", "<a", "<a b", "<a b=", "<a b=1><p:c/>", "<a b='1><p:c/>", "<a / b='1'><p:c/>",
        "<a ='1'><p:c/>", "<a b '1'><p:c/>", "<a></a <p:c/>", "</a>", "<!-- <p:a/>",
        "<![CDATA[ <p:a/>", "<?a <p:a/>", "<a/", ""}) {
    EXPECT_EQ(unbound_name(broken), "") << broken;
  }
}

TEST_F(UnboundNames, OthersAreTaken) {
  EXPECT_EQ(verdict("<y/>"), "");
  EXPECT_EQ(verdict("<p:y xmlns:p=\"urn:p\" p:z=\"1\"/>"), "");
}

}  // namespace unbound_names_test
