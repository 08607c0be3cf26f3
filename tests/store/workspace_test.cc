// A tree brought in step with an image: it is what a tree made of that image would be, what was
// done to it is told, and can be taken back.
#include "store/workspace.h"

#include <algorithm>

#include "store/image/image_comparison.h"
#include "store/image/image_import.h"
#include "store/random_edit.h"
#include "store/random_module.h"
#include "store/validation_fixture.h"
#include "tree_content.h"

namespace nexa::store {
namespace workspace_test {

constexpr std::uint32_t kModules = 40;
constexpr int kChanges = 30;

constexpr char kModule[] = R"y(module m { yang-version 1.1; namespace "urn:m"; prefix m;
  leaf-list t { ordered-by user; type string; }
  container c {
    leaf a { type int32; default 5; }
    container n { leaf z { type string; default "z"; } leaf y { type string; } }
    list u { key "k"; ordered-by user; leaf k { type string; } leaf v { type string; } }
    leaf-list w { ordered-by user; type string; }
    list s { key "k"; leaf k { type string; } leaf v { type string; } }
    anydata any;
    container p { presence "p"; leaf q { type string; } } }
  leaf b { type string; } })y";

const PlaceMatters kNever = [](const lysc_node*) { return false; };
const PlaceMatters kAlways = [](const lysc_node*) { return true; };

TreePtr with_defaults(TreePtr tree) {
  lyd_node* top = tree.release();
  EXPECT_EQ(lyd_new_implicit_all(&top, kestrel::context(), LYD_IMPLICIT_NO_STATE, nullptr),
            LY_SUCCESS);
  return TreePtr(top);
}

// What was done: "+", "-", "=", "d" (default flag) or ">" (place), and the node's name.
std::string told(const TreeChanges& changes) {
  std::string text;
  for (const TreeChange& change : changes) {
    switch (change.kind) {
      case TreeChange::Kind::kCreated:
        text += " +";
        break;
      case TreeChange::Kind::kDeleted:
        text += " -";
        EXPECT_EQ(change.subtree.get(), change.node);
        break;
      case TreeChange::Kind::kValue:
        text += " =";
        break;
      case TreeChange::Kind::kFlag:
        text += " d";
        break;
      case TreeChange::Kind::kMoved:
        text += " >";
        break;
    }
    text += change.node->schema->name;
    EXPECT_FALSE(change.is_implicit);
  }
  return text;
}

bool has_empty_group(const ImageInner& image) {
  return std::any_of(image.children().begin(), image.children().end(), [](const auto& child) {
    if (child->kind() == ImageKind::kInner) return has_empty_group(child->inner());
    if (child->kind() != ImageKind::kGroup) return false;
    if (child->group().size() == 0) return true;
    bool found = false;
    child->group().each([&found](const GroupEntry& entry) {
      found |= entry.node->kind() == ImageKind::kInner && has_empty_group(entry.node->inner());
    });
    return found;
  });
}

// Brings the tree of one in step with the other and back; tells what was done.
std::string in_step(const lyd_node* before, const lyd_node* after, const PlaceMatters& places) {
  const ImagePtr old = image_of_tree(before);
  const ImagePtr now = judged_image(after, *old, places);
  EXPECT_EQ(first_difference(*now, *image_of_tree(after), Compared::kAll), std::nullopt);
  if (places(nullptr)) {
    EXPECT_EQ(print(tree_of_image(*now, false).get()), print(after));
  }
  const ImagePtr again = judged_image(after, *now, places);
  EXPECT_TRUE(std::equal(again->children().begin(), again->children().end(),
                         now->children().begin(), now->children().end(),
                         [](const auto& one, const auto& two) { return one.get() == two.get(); }));
  lyd_node* top = tree_of_image(*old, false).release();
  TreeChanges changes;
  bring_in_step(*old, *now, top, changes, places);
  EXPECT_TRUE(top == nullptr || top->prev->next == nullptr);
  EXPECT_TRUE(nexa_test::same_content(top, after, true)) << print(top) << "\n" << print(after);
  std::string text = told(changes);
  if (text.find('>') == std::string::npos) {
    ImagePtr taken = old;
    take_over(changes, 0, taken);
    EXPECT_EQ(first_difference(*taken, *now, Compared::kAll), std::nullopt);
    EXPECT_FALSE(has_empty_group(*taken));
  }
  EXPECT_TRUE(undo_changes(top, changes));
  EXPECT_TRUE(nexa_test::same_content(top, before, true)) << print(top) << "\n" << print(before);
  lyd_free_all(top);
  return text;
}

class Workspace : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(nexa_test::load_module("m", kModule), "");
    number_schema();
  }

  static std::string steps(const std::string& before, const std::string& after,
                           const PlaceMatters& places = kNever) {
    return in_step(with_defaults(parse(before)).get(), with_defaults(parse(after)).get(), places);
  }
  static std::string c(const std::string& inner) { return "<c xmlns=\"urn:m\">" + inner + "</c>"; }
  static std::string u(const std::string& key) { return "<u><k>" + key + "</k></u>"; }
  static std::string s(const std::string& key) { return "<s><k>" + key + "</k></s>"; }
  static std::string t(const std::string& value) { return "<t xmlns=\"urn:m\">" + value + "</t>"; }
};

TEST_F(Workspace, CreationsDeletionsAndValues) {
  EXPECT_EQ(steps(c("<a>7</a>"), c("<a>7</a>")), "");
  EXPECT_EQ(steps(c("<a>7</a>"), c("<a>8</a>")), " =a");
  EXPECT_EQ(steps(c("<a>7</a><n><y>1</y></n>" + s("1")), c("<a>8</a>" + s("2"))),
            " =a dn -y -s +s");
  EXPECT_EQ(steps(c(s("1")), c("<s><k>1</k><v>x</v></s>")), " +v");
  EXPECT_EQ(steps(c("<a>7</a>"), c("<a>7</a><p/>")), " +p");
  EXPECT_EQ(steps("<b xmlns=\"urn:m\">1</b>" + c("<a>7</a>"), c("<a>7</a>")), " -b");
  EXPECT_EQ(steps(c("<a>7</a>"), "<b xmlns=\"urn:m\">1</b>" + c("<a>7</a>")), " +b");
}

// A value that is given as it was by default is given all the same.
TEST_F(Workspace, ADefaultThatIsGivenIsAChange) {
  EXPECT_EQ(steps(c("<p/>"), c("<a>5</a><p/>")), " da");
  EXPECT_EQ(steps(c("<a>5</a><p/>"), c("<p/>")), " da");
  EXPECT_EQ(steps(c("<a>5</a>"), c("<a>6</a>")), " =a");
  EXPECT_EQ(steps(c("<p/>"), c("<a>6</a><p/>")), " =a");
  EXPECT_EQ(steps(c("<a>6</a>"), c("<p/>")), " =a +p");
  EXPECT_EQ(steps(c("<p/>"), c("<p/><n><z>z</z></n>")), " dn dz");
}

TEST_F(Workspace, AnydataAreReplaced) {
  const auto any = [](const std::string& text) {
    return c("<any><x xmlns=\"urn:x\">" + text + "</x></any>");
  };
  EXPECT_EQ(steps(any("1"), any("2")), " -any +any");
  EXPECT_EQ(steps(any("1"), any("1")), "");
}

// Places are noted where the user gives them; the last place is that of what comes.
TEST_F(Workspace, WhatTheUserOrders) {
  EXPECT_EQ(steps(c(u("1") + u("2")), c(u("1") + u("2") + u("3"))), " +u");
  EXPECT_EQ(steps(c(u("1") + u("2") + u("3")), c(u("1") + u("3"))), " -u");
  EXPECT_EQ(steps(c(u("1") + u("2") + u("3")), c(u("2") + u("3") + u("1"))), " >u >u");
  EXPECT_EQ(steps(c(u("1") + u("2")), c(u("3") + u("1") + u("2"))), " +u >u >u");
  EXPECT_EQ(steps(c("<w>a</w><w>b</w><w>c</w>"), c("<w>c</w><w>x</w><w>a</w>")), " -w +w >w >w");
  EXPECT_EQ(steps(t("a") + t("b") + t("c"), t("c") + t("a")), " -t >t");
  EXPECT_EQ(steps(t("a") + t("b"), t("b") + t("a")), " >t");
}

// The tree's own order of such a list may be any.
TEST_F(Workspace, APlaceThatMattersIsNoted) {
  const std::string before = c(s("1") + s("2") + s("3"));
  const std::string after = c(s("2") + s("3") + s("1"));
  EXPECT_EQ(steps(before, after), "");
  EXPECT_EQ(steps(before, after, kAlways), " >s >s >s");
  EXPECT_EQ(steps(before, before, kAlways), "");
}

// One tree for all of them: its tables of children have seen many nodes come and go.
TEST_F(Workspace, ATreeFollowsManyChanges) {
  RandomSource random(5);
  std::vector<std::string> order;
  for (int i = 0; i < 12; ++i) order.push_back(std::to_string(i));
  ImagePtr image = image_of_tree(with_defaults(nullptr).get());
  lyd_node* top = tree_of_image(*image, false).release();
  for (int i = 0; i < 200; ++i) {
    std::string xml;
    std::rotate(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(random.below(12)),
                order.end());
    std::swap(random.pick(order), random.pick(order));
    for (std::size_t at = random.below(4); at < order.size(); ++at) {
      xml += "<w>" + order[at] + "</w>" + u(order[at]) + (random.chance(50) ? s(order[at]) : "");
    }
    const TreePtr wanted = with_defaults(parse(c(xml) + t("a") + t(order[1])));
    const ImagePtr next = judged_image(wanted.get(), *image, kNever);
    TreeChanges changes;
    bring_in_step(*image, *next, top, changes, kNever);
    ASSERT_TRUE(nexa_test::same_content(top, wanted.get(), true)) << print(top);
    image = next;
  }
  lyd_free_all(top);
}

// Readers and followers compare what is shared in no time.
TEST_F(Workspace, AJudgedImageSharesWhatIsTheSame) {
  const ImagePtr like = image_of_tree(
      with_defaults(parse(c("<a>7</a>" + u("1") + u("2") + s("1") + s("2") + "<p/>"))).get());
  const TreePtr tree =
      with_defaults(parse(c("<a>8</a>" + u("2") + u("3") + s("1") + s("2") + "<p/>")));
  const ImagePtr made = judged_image(tree.get(), *like, kNever);
  const auto of = [](const ImagePtr& image, const char* name) -> const ImageNode* {
    for (const ImageSlot& child : image->children().front()->inner().children()) {
      if (std::string_view(child->schema()->name) == name) return child.get();
    }
    return nullptr;
  };
  for (const char* const same : {"n", "s", "p"}) EXPECT_EQ(of(made, same), of(like, same)) << same;
  for (const char* const other : {"a", "u"}) EXPECT_NE(of(made, other), of(like, other)) << other;
  const GroupEntry* const before = of(like, "u")->group().in_order().back();
  const std::vector<const GroupEntry*> after = of(made, "u")->group().in_order();
  ASSERT_EQ(after.size(), 2U);
  EXPECT_EQ(after.front()->order, before->order);
  EXPECT_EQ(after.front()->node.get(), before->node.get());
  EXPECT_EQ(after.back()->order, before->order + 1);
}

TEST(WorkspaceAtRandom, ATreeIsWhatTheImageSays) {
  each_random_change(kModules, kChanges,
                     [](RandomSource& random, const lyd_node* before, TreePtr& after) {
                       if (random.chance(50)) after = with_defaults(std::move(after));
                       in_step(before, after.get(), random.chance(50) ? kNever : kAlways);
                     });
}

}  // namespace workspace_test
}  // namespace nexa::store
