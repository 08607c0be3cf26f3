// Which schemas count as the same.
#include "store/schema_content.h"

#include <gtest/gtest.h>

#include "real/temp_folder.h"

namespace {

using nexa::store::schema_content_digest;

std::string module(const std::string& statements) {
  return "module c { namespace \"urn:c\"; prefix c; revision 2026-01-01; feature f; " + statements +
         " }";
}

std::string digest_of(const std::string& statements,
                      const std::vector<std::string>& features = {"f"}) {
  const nexa_test::TempFolder folder;
  folder.write("c.yang", module(statements));
  kestrel::LoadOptions options = nexa_test::options_for(folder, {"c"});
  options.features["c"] = features;
  EXPECT_EQ(nexa_test::load_text(options), "");
  return schema_content_digest();
}

TEST(SchemaContent, IsTheSameForTheSameStatementsAnywhere) {
  const std::string first = digest_of("leaf a { type string; }");
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(schema_content_digest(), first);
  EXPECT_EQ(digest_of("leaf a {\n    type string;\n  }"), first);
}

TEST(SchemaContent, EveryStatementCountsWithoutANewRevision) {
  const std::string first = digest_of("leaf a { type string; }");
  EXPECT_NE(digest_of("leaf a { type string; must \"1\"; }"), first);
  EXPECT_NE(digest_of("leaf a { type string; default \"x\"; }"), first);
  EXPECT_NE(digest_of("leaf a { type string { length 1; } }"), first);
}

TEST(SchemaContent, FeaturesCount) {
  const std::string leaf = "leaf a { if-feature f; type string; }";
  EXPECT_NE(digest_of(leaf), digest_of(leaf, {}));
}

TEST(SchemaContent, SubmodulesAndImportsCount) {
  const auto digest = [](const std::string& type, const std::string& rule) {
    const nexa_test::TempFolder folder;
    folder.write("c.yang",
                 "module c { namespace \"urn:c\"; prefix c; import d { prefix d; } include s; "
                 "revision 2026-01-01; leaf a { type d:t; } }");
    folder.write("d.yang",
                 "module d { namespace \"urn:d\"; prefix d; typedef t { type " + type + "; } }");
    folder.write("s.yang",
                 "submodule s { belongs-to c { prefix c; } leaf b { type string; " + rule + " } }");
    EXPECT_EQ(nexa_test::load_text(folder, {"c"}), "");
    return schema_content_digest();
  };
  const std::string first = digest("string", "");
  EXPECT_EQ(digest("string", ""), first);
  EXPECT_NE(digest("uint8", ""), first);
  EXPECT_NE(digest("string", "must \"1\";"), first);
}

}  // namespace
