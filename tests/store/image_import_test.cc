// Values of every type go from a libyang tree into an image and back.
#include "store/image/image_import.h"

#include <gtest/gtest.h>

#include "shop_models.h"
#include "tree_content.h"

namespace nexa::store {
namespace {

constexpr const char* kContents[] = {
    "<i8>-1</i8><u64>5</u64><dec>1.5</dec><bool>true</bool><none/><text>a&amp;b</text>",
    "<blob>AAEC/w==</blob><flags>c a</flags><pick>one</pick><v6>2001:DB8::1</v6>",
    "<id xmlns:q=\"urn:shop-more\">q:blue</id><mix>red</mix><ref>12</ref>",
    "<far xmlns:q=\"urn:shop\">/q:stock/q:item[q:name='a']/q:price</far>",
    "<expr xmlns:q=\"urn:shop-more\">/q:only-here/q:stock = 'x'</expr>",
    "<any><x xmlns=\"urn:none\"><y>1</y></x></any>",
};

class ImageImport : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  static TreePtr values(const std::string& inner) {
    return nexa_test::shop_tree("<values xmlns=\"urn:shop\">" + inner + "</values>");
  }
};

void expect_to_come_back(const TreePtr& tree) {
  const TreePtr again = tree_of_image(*image_of_tree(tree.get()), true);
  std::string before;
  std::string after;
  ASSERT_TRUE(nexa_test::print_siblings(tree.get(), before));
  ASSERT_TRUE(nexa_test::print_siblings(again.get(), after));
  EXPECT_EQ(after, before);
}

TEST_F(ImageImport, ValuesOfEveryTypeComeBack) {
  for (const char* inner : kContents) expect_to_come_back(values(inner));
}

// No quotes would fit a path to an entry whose key holds both kinds.
TEST_F(ImageImport, EntriesOfManyKeysComeBack) {
  std::string xml;
  for (const char* last : {"z", "it's", "1\"", "a]b", "", "it's 1\""}) {
    xml += "<crossing xmlns=\"urn:shop-twin\">";
    for (char key = 'a'; key < 'i'; ++key) {
      xml += std::string("<") + key + ">" + key + "</" + key + ">";
    }
    xml += std::string("<i>") + last + "</i><light>red</light></crossing>";
  }
  expect_to_come_back(nexa_test::shop_tree(xml));
}

TEST_F(ImageImport, CanonicalTextsOfPathsCanBeSetAgain) {
  const TreePtr tree = values(kContents[3]);
  lyd_node* const leaf = lyd_child(tree.get());
  const std::string other = "/shop:stock/item[name='b']/price";
  EXPECT_EQ(change_canonical_term(leaf, other.c_str()), LY_SUCCESS);
  EXPECT_EQ(lyd_get_value(leaf), other);
  EXPECT_EQ(change_canonical_term(leaf, "/shop:nowhere"), LY_EVALID);
}

}  // namespace
}  // namespace nexa::store
