// Edits made to an image without a store around them: the union of several documents, replaces and
// deletes at the edges, and the document that stands for the whole configuration.
#include "store/edits.h"

#include "store/image/image_xml.h"
#include "store_fixture.h"

namespace nexa::store {
namespace edits_union_test {

using nexa_test::drop;
using nexa_test::in_top;
using nexa_test::put;
using nexa_test::update;

constexpr char kOne[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s";
  prefix s;
  container top {
    leaf name { type string; }
    leaf counter { config false; type uint32; }
    container box { leaf lid { type string; } container in { leaf it { type string; } } }
    container on { presence "On."; leaf level { type uint8; } }
    list port { key "id"; leaf id { type string; } leaf mode { type string; }
      container inner { leaf deep { type string; } } }
    list rule { key "id"; ordered-by user; leaf id { type uint8; } leaf text { type string; } }
    leaf-list order { type uint8; ordered-by user; }
    choice kind { case plain { leaf colour { type string; } container pot { leaf x { type string; } } }
      case fancy { leaf shine { type uint8; } } }
    anydata vendor;
  }
  leaf beside { type string; }
  choice either { leaf left { type string; } leaf right { type string; } }
})yang";
constexpr char kTwo[] = R"yang(module t {
  yang-version 1.1;
  namespace "urn:t";
  prefix t;
  container other { leaf name { type string; } }
})yang";

class Edits : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const nexa_test::TempFolder folder;
    folder.write("s.yang", kOne);
    folder.write("t.yang", kTwo);
    ASSERT_EQ(nexa_test::load_text(folder), "");
    number_schema();
  }

  static Edit document(const std::string& inner) {
    return {Edit::Kind::kUpdate, {}, "<config>" + inner + "</config>"};
  }
  // One document of a union, for the nodes of all modules or of the origin's.
  static Edit unite(const std::string& xml, const std::string& origin = "") {
    gnmi::Path path;
    path.set_origin(origin);
    return {Edit::Kind::kUnion, nexa_test::target_of(path), "<config>" + xml + "</config>"};
  }

  void given(const std::string& inner) {
    applier_ = std::make_unique<EditApplier>(empty_image());
    ASSERT_EQ(apply(update(inner)), "");
    applier_ = std::make_unique<EditApplier>(applier_->result());
  }
  std::string apply(const Edit& edit) { return nexa_test::line_of(applier_->apply(edit)); }
  std::string xml() const { return configuration_xml(*applier_->result()); }

  std::unique_ptr<EditApplier> applier_ = std::make_unique<EditApplier>(empty_image());
};

constexpr char kTopStart[] = "<top xmlns=\"urn:s\">";
std::string top(const std::string& inner) { return kTopStart + inner + "</top>"; }
std::string other(const std::string& name) {
  return "<other xmlns=\"urn:t\"><name>" + name + "</name></other>";
}
std::string config(const std::string& inner) { return "<config>" + inner + "</config>"; }

TEST_F(Edits, AUnionIsAllThatItsDocumentsSay) {
  given("<name>old</name><port><id>1</id></port>");
  EXPECT_EQ(apply(unite(top("<name>n</name><port><id>2</id><mode>m</mode></port>"))), "");
  EXPECT_EQ(apply(unite(top("<name>n</name><port><id>2</id></port><rule><id>3</id></rule>"))), "");
  EXPECT_EQ(apply(unite(other("o"))), "");
  EXPECT_EQ(xml(), config(top("<name>n</name><port><id>2</id><mode>m</mode></port>"
                              "<rule><id>3</id></rule>") +
                          other("o")));
  EXPECT_EQ(applier_->nodes(), 5U + 6U + 2U);
}

TEST_F(Edits, AUnionReplacesTheNodesOfItsOriginsAlone) {
  ASSERT_EQ(apply(document(top("<name>old</name>") + other("old"))), "");
  applier_ = std::make_unique<EditApplier>(applier_->result());
  EXPECT_EQ(apply(unite(other("new"), "t")), "");
  EXPECT_EQ(xml(), config(top("<name>old</name>") + other("new")));
  EXPECT_EQ(apply(unite("", "s")), "");
  EXPECT_EQ(xml(), config(other("new")));
  EXPECT_EQ(apply(unite(top("<name>n</name>"), "t")),
            "/s:top: the node does not belong to the origin that is replaced");
  EXPECT_EQ(apply(unite(other("n") + top("<name>n</name>"), "t")),
            "/s:top: the node does not belong to the origin that is replaced");
}

TEST_F(Edits, DocumentsOfAUnionDoNotContradictEachOther) {
  const std::string words = ": another update of the union says something else";
  const auto refused = [this](const std::string& first, const std::string& second) {
    applier_ = std::make_unique<EditApplier>(empty_image());
    EXPECT_EQ(apply(unite(top(first))), "") << first;
    return apply(unite(top(second)));
  };
  EXPECT_EQ(refused("<name>a</name>", "<name>b</name>"), "/s:top/name" + words);
  EXPECT_EQ(refused("<name>a</name>", "<name>a</name>"), "");
  EXPECT_EQ(refused("<box><in><it>a</it></in></box>", "<box><lid>l</lid><in><it>b</it></in></box>"),
            "/s:top/box/in/it" + words);
  EXPECT_EQ(refused("<port><id>1</id><mode>a</mode></port>",
                    "<port><id>2</id><mode>b</mode></port><port><id>1</id><mode>b</mode></port>"),
            "/s:top/port[id='1']/mode" + words);
  EXPECT_EQ(refused("<colour>a</colour>", "<shine>1</shine>"), "/s:top/shine" + words);
  EXPECT_EQ(refused("<shine>1</shine>", "<pot><x>1</x></pot>"), "/s:top/pot" + words);
  EXPECT_EQ(refused("<shine>1</shine>", "<pot/>"), "");
  EXPECT_EQ(refused("<colour>a</colour>", "<pot><x>1</x></pot>"), "");
  EXPECT_EQ(refused("<vendor><a xmlns=\"\">1</a></vendor>", "<vendor><a xmlns=\"\">1</a></vendor>"),
            "");
  EXPECT_EQ(refused("<vendor><a xmlns=\"\">1</a></vendor>", "<vendor><a xmlns=\"\">2</a></vendor>"),
            "/s:top/vendor" + words);
}

// A replace whose document does not have the node says that it is gone.
TEST_F(Edits, AReplaceWithoutTheNodeDeletesIt) {
  given(
      "<name>n</name><box><lid>l</lid><in><it>i</it></in></box><port><id>1</id><mode>m</mode>"
      "</port>");
  EXPECT_EQ(apply(put("/s:top/box/in", "<box/>")), "");
  EXPECT_EQ(xml(), config(top("<name>n</name><box><lid>l</lid></box><port><id>1</id><mode>m</mode>"
                              "</port>")));
  EXPECT_EQ(apply(put("/s:top/box", "")), "");
  EXPECT_EQ(apply(put("/s:top/port[id=1]/mode", "<port><id>1</id></port>")), "");
  EXPECT_EQ(xml(), config(top("<name>n</name><port><id>1</id></port>")));
  EXPECT_EQ(apply(put("/s:top/port[id=1]/id", "")),
            "/s:top/port/id: a list key cannot be deleted without its entry");
}

TEST_F(Edits, AReplaceMakesWhatStandsAroundTheNode) {
  given("<name>n</name>");
  EXPECT_EQ(
      apply(put("/s:top/port[id=1]/inner", "<port><id>1</id><inner><deep>d</deep></inner></port>")),
      "");
  EXPECT_EQ(apply(put("/s:top/box/in", "<box><in><it>i</it></in></box>")), "");
  const std::string made =
      config(top("<name>n</name><box><in><it>i</it></in></box>"
                 "<port><id>1</id><inner><deep>d</deep></inner></port>"));
  EXPECT_EQ(xml(), made);
  EXPECT_EQ(
      apply(put("/s:top/port[id=1]/inner", "<port><id>1</id><inner><deep>e</deep></inner></port>")),
      "");
  EXPECT_EQ(apply(put("/s:top/box/in", "<box><in/></box>")), "");
  EXPECT_EQ(xml(), config(top("<name>n</name>"
                              "<port><id>1</id><inner><deep>e</deep></inner></port>")));
}

TEST_F(Edits, AReplaceThatNamesNoOneNodeIsRefused) {
  given("<port><id>1</id></port>");
  EXPECT_EQ(apply(put("/s:top/*", "")), "a replace names one node");
  EXPECT_EQ(apply(put("/s:top/counter", "")), "/s:top/counter: operational data cannot be set");
  EXPECT_EQ(apply({Edit::Kind::kUpdate, {}, "nothing"}), "the document has no top element");
  EXPECT_EQ(xml(), config(top("<port><id>1</id></port>")));
}

// What goes with a node above it is not looked for again; the rest goes by itself.
TEST_F(Edits, ADeleteOfManyNodesTakesEachOnce) {
  given(
      "<name>n</name><box><lid>l</lid><in><it>i</it></in></box><port><id>1</id><mode>m</mode>"
      "</port><port><id>2</id><inner><deep>d</deep></inner></port><order>2</order>");
  EXPECT_EQ(apply(drop("/s:top/port/...")), "");
  EXPECT_EQ(xml(), config(top("<name>n</name><box><lid>l</lid><in><it>i</it></in></box>"
                              "<order>2</order>")));
  EXPECT_EQ(apply(drop("/s:top/box/.../it")), "");
  EXPECT_EQ(apply(drop("/s:top/order")), "");
  EXPECT_EQ(xml(), config(top("<name>n</name><box><lid>l</lid></box>")));
  EXPECT_EQ(apply(drop("/s:top/...")), "");
  EXPECT_EQ(xml(), "<config/>");
}

// The document is the configuration while nothing else is, and can be judged in its place.
TEST_F(Edits, DocumentsOfDifferentNodesStandForTheWhole) {
  const auto names = [this] {
    std::string text;
    const TreePtr tree = applier_->take_document();
    for (const lyd_node* node = tree.get(); node != nullptr; node = node->next) {
      text.append(text.empty() ? "" : " ").append(node->schema->name);
    }
    return text;
  };
  const auto after = [&](const std::vector<Edit>& edits) {
    applier_ = std::make_unique<EditApplier>(empty_image());
    for (const Edit& edit : edits) EXPECT_EQ(apply(edit), "");
    return names();
  };
  const Edit one = update("<name>n</name>");
  const Edit two = document(other("o"));
  EXPECT_EQ(after({one}), "top");
  EXPECT_EQ(names(), "");  // taken
  EXPECT_EQ(after({two, one}), "top other");
  EXPECT_EQ(after({one, two, document("<beside xmlns=\"urn:s\">b</beside>")}), "top beside other");
  EXPECT_EQ(after({one, update("<order>1</order>")}), "");
  EXPECT_EQ(after({one, document("")}), "top");
  EXPECT_EQ(after({one, drop("/s:top/name")}), "");
  // A choice at the top: another document's node may have to give way.
  EXPECT_EQ(after({document("<left xmlns=\"urn:s\">l</left>")}), "");
  // What a replace of everything brings is all there is; of one node it is not.
  EXPECT_EQ(after({one, put("/", "<order>1</order>")}), "top");
  EXPECT_EQ(after({one, put("/s:top/name", "<name>m</name>")}), "");
  EXPECT_EQ(after({unite(top("<name>n</name>")), unite(other("o"))}), "top other");
  EXPECT_EQ(after({unite(top("<name>n</name>"), "s")}), "");
  given("<name>n</name>");
  ASSERT_EQ(apply(two), "");
  EXPECT_EQ(names(), "");
}

TEST_F(Edits, AnOrderIsThatOfTheLastDocument) {
  given(
      "<rule><id>1</id></rule><rule><id>2</id><text>t</text></rule><order>1</order><order>2</"
      "order>");
  EXPECT_EQ(apply(put("/s:top",
                      "<rule><id>2</id></rule><rule><id>1</id></rule><order>2</order>"
                      "<order>3</order><order>1</order>")),
            "");
  EXPECT_EQ(xml(), config(top("<rule><id>2</id></rule><rule><id>1</id></rule><order>2</order>"
                              "<order>3</order><order>1</order>")));
  EXPECT_EQ(apply(put("/s:top/rule", "<rule><id>4</id></rule><rule><id>1</id></rule>")), "");
  EXPECT_EQ(apply(put("/s:top/order", "")), "");
  EXPECT_EQ(xml(), config(top("<rule><id>4</id></rule><rule><id>1</id></rule>")));
}

}  // namespace edits_union_test
}  // namespace nexa::store
