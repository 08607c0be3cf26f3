// Documents read without libyang's XML reader give the trees that it gives, or are left to it.
#include "store/plain_document.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "store/image/schema_order.h"
#include "store/validation_fixture.h"

namespace nexa::store {
namespace plain_document_test {

constexpr char kKinds[] = R"yang(module kinds {
  yang-version 1.1;
  namespace "urn:kinds";
  prefix k;
  identity animal;
  identity cat { base animal; }
})yang";

constexpr char kModule[] = R"yang(module plain {
  yang-version 1.1;
  namespace "urn:plain";
  prefix p;
  import kinds { prefix kk; }
  identity dog { base kk:animal; }
  container top {
    leaf name { type string; }
    leaf count { type int32; }
    leaf size { type decimal64 { fraction-digits 2; } }
    leaf mode { type enumeration { enum a; enum b; } default a; }
    leaf flag { type boolean; }
    leaf mark { type empty; }
    leaf animal { type identityref { base kk:animal; } }
    leaf either { type union { type uint8; type identityref { base kk:animal; } } }
    leaf any-of { type union { type identityref { base kk:animal; } type string; } }
    leaf place { type instance-identifier { require-instance false; } }
    leaf copy { type leafref { path "../animal"; } }
    container inner { leaf deep { type string; } container deeper; }
    container on { presence "On."; }
    list entry {
      key "animal id";
      leaf animal { type identityref { base kk:animal; } }
      leaf id { type uint8; }
      leaf note { type string; }
      list below { key "name"; leaf name { type string; } }
    }
    leaf-list tag { type string; }
    leaf-list animals { type identityref { base kk:animal; } }
    leaf-list mixed { type union { type identityref { base kk:animal; } type string; } }
    choice kind { case one { leaf one { type string; } } case two { leaf two { type string; } } }
    anydata anything;
    leaf state { config false; type string; }
    list nameless { config false; leaf x { type string; } }
  }
  list loose { key "id"; leaf id { type string; } }
  leaf alone { type string; }
})yang";

class PlainDocument : public testing::Test {
 protected:
  void SetUp() override {
    const nexa_test::TempFolder folder;
    folder.write("kinds.yang", kKinds);
    folder.write("plain.yang", kModule);
    ASSERT_EQ(nexa_test::load_text(folder), "");
    number_schema();
    ly_log_options(LY_LOSTORE_LAST);
  }
};

std::string top(const std::string& inner) { return "<top xmlns=\"urn:plain\">" + inner + "</top>"; }

bool is_plain(const std::string& xml) {
  TreePtr tree;
  const bool is_read = read_plain_document(xml, tree);
  EXPECT_TRUE(is_read || tree == nullptr);
  return is_read;
}

// Null when libyang refuses the text.
TreePtr by_libyang(const std::string& xml, bool& is_read) {
  lyd_node* tree = nullptr;
  is_read = lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                               LYD_PARSE_ONLY | LYD_PARSE_STRICT | LYD_PARSE_NO_STATE, 0,
                               &tree) == LY_SUCCESS;
  return TreePtr(tree);
}

// False when libyang is to read it; a failure when the trees differ.
bool reads_the_same(const std::string& xml) {
  TreePtr ours;
  if (!read_plain_document(xml, ours)) return false;
  bool is_read = false;
  const TreePtr theirs = by_libyang(xml, is_read);
  EXPECT_TRUE(is_read) << xml << "\n" << ly_errmsg(kestrel::context());
  EXPECT_EQ(print(ours.get()), print(theirs.get())) << xml;
  EXPECT_TRUE(have_equal_flags(ours.get(), theirs.get())) << xml;
  return true;
}

const std::string kCat = R"(<animal xmlns:kk="urn:kinds">kk:cat</animal>)";

TEST_F(PlainDocument, IsReadAsLibyangReadsIt) {
  for (const std::string& inner : std::initializer_list<std::string>{
           "",
           "<name>n</name>",
           "<name/>",
           "<name></name>",
           "<name>  a b  </name>",
           "<name>&lt;&amp;&gt;&quot;&apos;</name>",
           "<name>a&#13;b</name>",
           "<name>gr\u00fc\u00df</name>",
           "<name>a\nb</name>",
           "<count>007</count>",
           "<count> 5 </count>",
           "<size>1.50</size>",
           "<flag>true</flag><mark/>",
           "<mode>b</mode>",
           kCat,
           R"(<animal>dog</animal>)",
           R"(<animal xmlns:x="urn:plain">x:dog</animal>)",
           R"(<either xmlns:kk="urn:kinds">kk:cat</either>)",
           "<either>7</either>",
           "<either>dog</either>",
           R"(<any-of xmlns:kk="urn:kinds">kk:cat</any-of>)",
           "<any-of>kinds:cat</any-of>",
           "<any-of>1:2</any-of>",
           "<any-of>dog</any-of>",
           R"(<place xmlns:q="urn:plain">/q:top/q:name</place>)",
           kCat + R"(<copy xmlns:kk="urn:kinds">kk:cat</copy>)",
           "<inner/>",
           "<inner><deeper/></inner>",
           "<inner><deep>d</deep></inner>",
           "<on/>",
           "<entry>" + kCat + "<id>1</id><note>n</note></entry><entry>" + kCat +
               "<id>2</id><below><name>a</name></below><below><name>b</name></below></entry>",
           "<tag>a</tag><tag>b</tag><tag/>",
           "<one>1</one>",
           R"(<animals xmlns:kk="urn:kinds">kk:cat</animals><animals>dog</animals>)",
           R"(<mixed>a:b</mixed><mixed xmlns:kk="urn:kinds">kk:cat</mixed><mixed>a</mixed>)",
           // What stands twice is for the check behind it to find.
           "<name>a</name><name>b</name>",
           "<inner/><inner/>",
           "<one>1</one><two>2</two>",
       }) {
    EXPECT_TRUE(reads_the_same(top(inner))) << inner;
  }
  EXPECT_TRUE(reads_the_same(""));
}

TEST_F(PlainDocument, LeavesToLibyang) {
  for (const std::string& inner : std::initializer_list<std::string>{
           "text",
           " <name>n</name>",
           "<!-- c --><name>n</name>",
           "<name><![CDATA[n]]></name>",
           "<name>\x01</name>",
           "<name>a\x1f</name>",
           "<name>\x80</name>",
           "<name>a\xc3(</name>",
           "<count>x</count>",
           "<mode>c</mode>",
           "<nosuch/>",
           "<name>a</count>",
           "<name>a",
           "<state>s</state>",
           "<nameless><x>1</x></nameless>",
           "<anything><a/></anything>",
           R"(<name type="x">n</name>)",
           R"(<q:name xmlns:q="urn:plain">n</q:name>)",
           R"(<name xmlns="urn:none">n</name>)",
           R"(<name xmlns="urn:a&amp;b">n</name>)",
           R"(<inner xmlns:q="urn:plain"/>)",
           "<animal>kinds:cat</animal>",
           R"(<animal xmlns:kk="urn:none">kk:cat</animal>)",
           "<entry/>",
           "<entry>" + kCat + "</entry>",
           "<entry><id>1</id>" + kCat + "</entry>",
           "<entry><note>n</note>" + kCat + "<id>1</id></entry>",
           "<entry>" + kCat + "<id>1</id><id>1</id></entry>",
           "<entry>" + kCat + "<id>1</id></entry><entry>" + kCat + "<id>1</id></entry>",
           "<tag>a</tag><tag>a</tag>",
           "<inner><deep>d</deep>",
       }) {
    EXPECT_FALSE(is_plain(top(inner))) << inner;
  }
  EXPECT_FALSE(is_plain("<loose xmlns=\"urn:plain\"><id>1</id></loose>"));
  EXPECT_FALSE(is_plain("<alone xmlns=\"urn:plain\">1</alone>"));
  EXPECT_FALSE(is_plain("<top>"));
  EXPECT_FALSE(is_plain("</top>"));
  EXPECT_FALSE(is_plain("<top xmlns=\"urn:plain\"><name>n</name></top></top>"));
}

// Whatever a text has become by accident: what is read is read as libyang reads it.
TEST_F(PlainDocument, DamagedTextsAreReadTheSameOrNotAtAll) {
  const std::string whole =
      top("<name>n&amp;m</name><count>5</count><either xmlns:kk=\"urn:kinds\">kk:cat</either>"
          "<any-of>a:b</any-of><inner><deep>d</deep></inner><entry>" +
          kCat + "<id>1</id><note>n</note><below><name>a</name></below></entry><entry>" + kCat +
          "<id>2</id></entry><tag>a</tag><tag>b</tag><mixed>1:2</mixed>");
  std::mt19937 random(1);
  int same = 0;
  for (int round = 0; round < 30'000; ++round) {
    std::string text = whole;
    for (auto change = random() % 3 + 1; change > 0; --change) {
      const std::size_t at = random() % text.size();
      const std::size_t from = random() % whole.size();
      const std::size_t size = random() % 24 + 1;
      switch (random() % 3) {
        case 0:
          text[at] = "<>/\"&: a1\n\t\x01\x7f\xc3\xbc"[random() % 15];
          break;
        case 1:
          text.erase(at, size);
          break;
        default:
          text.insert(at, whole, from, size);
      }
      if (text.empty()) break;
    }
    same += reads_the_same(text) ? 1 : 0;
    ASSERT_FALSE(HasFailure()) << text;
  }
  EXPECT_GT(same, 200);
}

}  // namespace plain_document_test
}  // namespace nexa::store
