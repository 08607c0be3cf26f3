// Instance identifiers of nodes in an image: modules where they change, and quotes that the value
// does not hold.
#include "store/image/image_path.h"

#include <gtest/gtest.h>

#include "shop_models.h"

namespace nexa::store {
namespace image_path_test {

class ImagePath : public testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  // The path of the node that each first child leads to.
  static std::string path_of(const std::string& xml) {
    const ImagePtr image = nexa_test::shop_image(xml);
    std::string path;
    const ImageInner* at = image.get();
    const lysc_node* parent = nullptr;
    while (at != nullptr && !at->children().empty()) {
      const ImageNode* node = at->children().back().get();
      if (node->kind() == ImageKind::kGroup) node = node->group().in_order().front()->node.get();
      append_path_step(*node, parent, path);
      parent = node->schema();
      at = node->kind() == ImageKind::kInner ? &node->inner() : nullptr;
    }
    return path;
  }
};

TEST_F(ImagePath, NamesModulesWhereTheyChange) {
  EXPECT_EQ(path_of("<stock xmlns=\"urn:shop\"><owner>x</owner></stock>"), "/shop:stock/owner");
  EXPECT_EQ(path_of("<stock xmlns=\"urn:shop\"><season xmlns=\"urn:shop-more\">x</season></stock>"),
            "/shop:stock/shop-more:season");
  EXPECT_EQ(path_of("<shelf xmlns=\"urn:shop-more\"><height>1</height></shelf>"),
            "/shop-more:shelf/height");
}

TEST_F(ImagePath, QuotesKeysByWhatTheyHold) {
  const auto item = [](const std::string& name) {
    return path_of("<stock xmlns=\"urn:shop\"><item><name>" + name + "</name></item></stock>");
  };
  EXPECT_EQ(item("a"), "/shop:stock/item[name='a']/name");
  EXPECT_EQ(item("it's"), "/shop:stock/item[name=\"it's\"]/name");
  EXPECT_EQ(item("a\"b"), "/shop:stock/item[name='a\"b']/name");
  EXPECT_EQ(path_of("<stock xmlns=\"urn:shop\"><item><name>a</name><part><id>1</id><kind>red</kind>"
                    "</part></item></stock>"),
            "/shop:stock/item[name='a']/part[id='1'][kind='shop:red']/kind");
  EXPECT_EQ(path_of("<stock xmlns=\"urn:shop\"><door>7</door></stock>"), "/shop:stock/door[.='7']");
}

}  // namespace image_path_test
}  // namespace nexa::store
