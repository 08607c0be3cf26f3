// Images as XML: namespaces, prefixes, escapes, what is left out, and elements written one by one.
#include "store/image/image_xml.h"

#include <gtest/gtest.h>

#include "shop_models.h"

namespace nexa::store {
namespace {

constexpr char kAttributes[] = " xmlns:y=\"urn:y\" y:operation=\"create\"";

class ImageXml : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  // Expects the text of libyang for the same tree.
  static std::string written(const std::string& xml, bool with_defaults = false) {
    const TreePtr parsed = nexa_test::shop_tree(xml);
    char* text = nullptr;
    EXPECT_EQ(
        lyd_print_mem(&text, parsed.get(), LYD_XML, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK),
        LY_SUCCESS);
    const TextPtr by_libyang(text);
    ImagePtr image = image_of_tree(parsed.get());
    if (with_defaults) {
      lyd_node* tree = nexa_test::shop_tree(xml).release();
      EXPECT_EQ(lyd_new_implicit_all(&tree, kestrel::context(), 0, nullptr), LY_SUCCESS);
      image = image_of_tree(TreePtr(tree).get());
    }
    std::string mine;
    XmlWriter(mine).node(*image);
    EXPECT_EQ(mine, text == nullptr ? "" : text);
    return mine;
  }

  static std::string values(const std::string& inner) {
    return "<values xmlns=\"urn:shop\">" + inner + "</values>";
  }
};

TEST_F(ImageXml, NamespacesStandWhereTheyChange) {
  written(
      "<stock xmlns=\"urn:shop\"><owner>A</owner><owner xmlns=\"urn:shop-more\">B</owner>"
      "<item><name>a</name><weight xmlns=\"urn:shop-more\">1</weight><tag>t</tag></item>"
      "<sign/></stock><shelf xmlns=\"urn:shop\"><row>1</row></shelf>"
      "<shelf xmlns=\"urn:shop-more\"><height>2</height></shelf>");
}

TEST_F(ImageXml, TextsAreEscaped) {
  written(values("<text>a&amp;b&lt;c&gt;d\"e'f&#9;g&#10;h&#13;i \xC3\xA9</text>"));
  written(values("<text>&amp;&amp;12345678&lt;</text>"));
  EXPECT_EQ(written(values("<text></text><none/>")),
            "<values xmlns=\"urn:shop\"><none/><text/></values>");
}

TEST_F(ImageXml, IdentitiesAndPathsHavePrefixes) {
  EXPECT_EQ(written(values("<id xmlns:q=\"urn:shop-more\">q:blue</id>")),
            "<values xmlns=\"urn:shop\"><id xmlns:m=\"urn:shop-more\">m:blue</id></values>");
  written(values("<id>red</id><mix>red</mix>"));
  written(values("<mix>a:b</mix>"));
  written(values("<far xmlns:q=\"urn:shop\">/q:stock/q:item[q:name='a&amp;b']/q:price</far>"));
  written(
      values("<far xmlns:q=\"urn:shop\" xmlns:w=\"urn:shop-more\">/q:stock/q:item[q:name='a']"
             "/w:weight</far>"));
  written(values("<expr xmlns:q=\"urn:shop-more\">/q:only-here/q:stock = 'x:y'</expr>"));
  written(values("<expr>1 + 2</expr>"));
  written(values("<expr> lead</expr>"));
  written(values("<expr xmlns:q=\"urn:shop-more\"> q:only-here</expr>"));
  written(values("<expr>lead </expr>"));
  written(
      "<stock xmlns=\"urn:shop\"><item><name>a</name><part><id>1</id>"
      "<kind xmlns:q=\"urn:shop-more\">q:blue</kind></part></item></stock>");
}

TEST_F(ImageXml, AnydataAreWrittenAsTheyCame) {
  written(values("<any><x xmlns=\"urn:none\" a=\"1\"><y>1&amp;2</y></x></any>"));
  written(values("<any><shelf xmlns='urn:shop-more'><height>5</height></shelf></any>"));
  written(values("<any/>"));
  written(values("<xml>text</xml>"));
  written(values("<xml><a xmlns=\"\"><b/></a></xml>"));
}

TEST_F(ImageXml, DefaultsAreLeftOut) {
  written("<stock xmlns=\"urn:shop\"><door>1</door></stock>", true);
  written("", true);
  EXPECT_EQ(written("<stock xmlns=\"urn:shop\"><empty/></stock>"), "");
  written("<stock xmlns=\"urn:shop\"><empty/><sign/></stock>", true);
}

TEST_F(ImageXml, WholeConfiguration) {
  EXPECT_EQ(configuration_xml(*nexa_test::shop_image("")), "<config/>");
  EXPECT_EQ(configuration_xml(*nexa_test::shop_image(values("<u8>1</u8>"))),
            "<config>" + values("<u8>1</u8>") + "</config>");
}

TEST_F(ImageXml, ContainersWithoutContentLeaveNothingBehind) {
  const ImagePtr parsed =
      nexa_test::shop_image("<stock xmlns=\"urn:shop\"><sign/></stock>" + values("<u8>1</u8>"));
  const lysc_node* const stock = parsed->children().front()->schema();
  std::vector<ImageSlot> children;
  children.emplace_back(ImageInner::make(stock, false, {}));
  children.push_back(parsed->children().back());
  const ImagePtr image = ImageInner::make(nullptr, false, std::move(children));
  EXPECT_EQ(configuration_xml(*image), "<config>" + values("<u8>1</u8>") + "</config>");
}

TEST_F(ImageXml, ElementsOneByOneWithAttributes) {
  const ImagePtr image = nexa_test::shop_image(
      "<stock xmlns=\"urn:shop\"><item><name>a</name><tag>t</tag><tag>u</tag>"
      "<weight xmlns=\"urn:shop-more\">1</weight>"
      "<part><id>1</id><kind xmlns:q=\"urn:shop-more\">q:blue</kind><note>n</note></part></item>"
      "</stock>" +
      values("<id>red</id><any><x xmlns=\"urn:none\"/></any>"));
  const ImageInner& stock = image->children().front()->inner();
  const ImageGroup& items = stock.children().front()->group();
  const ImageInner& item = items.in_order().front()->node->inner();
  std::string xml;
  XmlWriter writer(xml);
  writer.begin(stock);
  writer.begin(item, kAttributes);
  writer.keys(item);
  for (const ImageSlot& child : item.children()) {
    if (std::string_view(child->schema()->name) != "name") writer.node(*child, kAttributes);
  }
  writer.end();
  writer.end();
  const ImageInner& around = image->children().back()->inner();
  writer.begin(around);
  writer.end();
  for (const ImageSlot& child : around.children()) writer.node(*child, " a=\"1\"");
  const std::string with = kAttributes;
  EXPECT_EQ(xml, "<stock xmlns=\"urn:shop\"><item" + with + "><name>a</name><tag" + with +
                     ">t</tag><tag" + with + ">u</tag><part" + with +
                     "><id>1</id><kind xmlns:m=\"urn:shop-more\">m:blue</kind><note>n</note></part>"
                     "<weight xmlns=\"urn:shop-more\"" +
                     with +
                     ">1</weight></item></stock><values xmlns=\"urn:shop\"/>"
                     "<id xmlns=\"urn:shop\" a=\"1\" xmlns:s=\"urn:shop\">s:red</id>"
                     "<any xmlns=\"urn:shop\" a=\"1\"><x xmlns=\"urn:none\"/></any>");
}

}  // namespace
}  // namespace nexa::store
