// Operational data that libyang reads and cannot print.
#include "store/tree_snapshot.h"
#include "store_fixture.h"

namespace {

using namespace nexa_test;

constexpr char kModule[] = R"(module v {
  yang-version 1.1;
  namespace "urn:v";
  prefix v;
  container c { config false; anydata any; }
})";

class UnboundPrefix : public testing::Test {
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

TEST_F(UnboundPrefix, IsRefused) {
  EXPECT_EQ(verdict("<p:y/>"), "\"p:y\": the prefix stands for no namespace");
  EXPECT_EQ(verdict("<a><b/><b><p:y>1</p:y></b></a>"),
            "\"p:y\": the prefix stands for no namespace");
}

TEST_F(UnboundPrefix, OthersAreTaken) {
  EXPECT_EQ(verdict("<y/>"), "");
  EXPECT_EQ(verdict("<p:y xmlns:p=\"urn:p\" p:z=\"1\"/>"), "");
}

}  // namespace
