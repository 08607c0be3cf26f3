// Two small modules with a node of every kind, and trees of them written as XML.
#ifndef TESTS_STORE_SHOP_MODELS_H_
#define TESTS_STORE_SHOP_MODELS_H_

#include <gtest/gtest.h>

#include <string>

#include "real/temp_folder.h"
#include "store/image/image_import.h"

namespace nexa_test {

inline constexpr char kShop[] = R"(module shop {
  yang-version 1.1; namespace "urn:shop"; prefix s;
  import ietf-inet-types { prefix inet; }
  import ietf-yang-types { prefix yang; }
  identity colour;
  identity red { base colour; }
  container stock {
    leaf owner { type string; }
    leaf open { type boolean; default "true"; }
    container empty { }
    container sign { presence "there is one"; leaf text { type string; } }
    list item {
      key "name";
      leaf name { type string; }
      leaf price { type decimal64 { fraction-digits 2; } }
      leaf sold { config false; type uint64; }
      leaf-list tag { type string; }
      container size { leaf width { type uint8; } leaf seen { config false; type int8; } }
      list part { key "id kind"; ordered-by user;
        leaf id { type uint16; } leaf kind { type identityref { base colour; } }
        leaf note { type string; } }
    }
    choice payment {
      case cash { leaf coins { type uint32; } }
      case card { container card { leaf number { type string; } } }
    }
    list event { config false; leaf what { type string; } leaf level { type int8; } }
    leaf-list code { config false; type string; }
    leaf-list door { type uint8; }
  }
  list shelf { key "row"; leaf row { type int8; } leaf label { type string; }
    leaf load { config false; type uint32; } }
  container values {
    leaf i8 { type int8; } leaf i16 { type int16; } leaf i32 { type int32; } leaf i64 { type int64; }
    leaf u8 { type uint8; } leaf u16 { type uint16; } leaf u32 { type uint32; }
    leaf u64 { type uint64; } leaf dec { type decimal64 { fraction-digits 3; } }
    leaf bool { type boolean; } leaf none { type empty; } leaf text { type string; }
    leaf blob { type binary; } leaf flags { type bits { bit a; bit b; bit c; } }
    leaf pick { type enumeration { enum one; enum "t\"wo"; } }
    leaf id { type identityref { base colour; } }
    leaf ref { type leafref { path "../u8"; } }
    leaf far { type instance-identifier { require-instance false; } }
    leaf mix { type union { type uint8; type int64; type identityref { base colour; }
      type boolean; type leafref { path "../dec"; } type string; } }
    leaf-list nothing { type union { type empty; type uint8; } }
    leaf-list hues { type identityref { base colour; } }
    leaf v4 { type inet:ipv4-address; } leaf v6 { type inet:ipv6-address; }
    leaf net { type inet:ipv6-prefix; } leaf when { type yang:date-and-time; }
    leaf mac { type yang:mac-address; } leaf expr { type yang:xpath1.0; }
    anydata any; anyxml xml;
  }
  rpc restock { input { leaf item { type string; } } }
  notification sold-out { leaf item { type string; } }
})";

inline constexpr char kShopMore[] = R"(module shop-more {
  yang-version 1.1; namespace "urn:shop-more"; prefix m;
  import shop { prefix s; }
  identity blue { base s:colour; }
  augment "/s:stock" { leaf owner { type string; } leaf season { type string; } }
  augment "/s:stock/s:item" { leaf weight { type uint32; } }
  container shelf { leaf height { type uint32; } }
  container only-here { leaf x { type string; } container stock { leaf y { type string; } } }
})";

inline constexpr char kShopTwin[] = R"(module shop-twin {
  yang-version 1.1; namespace "urn:shop-twin"; prefix t;
  import shop { prefix s; }
  augment "/s:stock" { leaf season { type string; } }
  list crossing { key "a b c d e f g h i";
    leaf a { type string; } leaf b { type string; } leaf c { type string; }
    leaf d { type string; } leaf e { type string; } leaf f { type string; }
    leaf g { type string; } leaf h { type string; } leaf i { type string; }
    leaf light { type string; } }
})";

// Loads the modules; call it in SetUpTestSuite, since a process has one schema.
inline void load_shop() {
  const TempFolder folder;
  folder.write("shop.yang", kShop);
  folder.write("shop-more.yang", kShopMore);
  folder.write("shop-twin.yang", kShopTwin);
  ASSERT_EQ(load_text(folder), "");
  nexa::store::number_schema();
}

// A data tree of XML elements, without defaults; null for the empty text.
inline nexa::store::TreePtr shop_tree(const std::string& xml) {
  if (xml.empty()) return nullptr;
  lyd_node* tree = nullptr;
  EXPECT_EQ(lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                               LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree),
            LY_SUCCESS)
      << ly_errmsg(kestrel::context()) << "\n"
      << xml;
  return nexa::store::TreePtr(tree);
}

// The same as an image; without nodes for the empty text.
inline nexa::store::ImagePtr shop_image(const std::string& xml) {
  return nexa::store::image_of_tree(shop_tree(xml).get());
}

}  // namespace nexa_test

#endif  // TESTS_STORE_SHOP_MODELS_H_
