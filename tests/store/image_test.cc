// Images: what they hold, share and refuse, and their text.
#include "store/image/image.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "real/temp_folder.h"
#include "store/image/image_difference.h"
#include "store/image/image_draft.h"
#include "store/image/image_import.h"
#include "store/image/image_text.h"
#include "store_module.h"
#include "support/results.h"

namespace nexa_test {
namespace {

using namespace nexa::store;  // NOLINT(google-build-using-namespace)

class ImageTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("s", kStoreModule), "");
    number_schema();
  }

  static TreePtr parse(const std::string& inner) {
    const std::string xml = "<top xmlns=\"urn:s\">" + inner + "</top>";
    lyd_node* tree = nullptr;
    EXPECT_EQ(lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                                 LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree),
              LY_SUCCESS)
        << xml << ": " << ly_errmsg(kestrel::context());
    return TreePtr(tree);
  }
  static ImagePtr image(const std::string& inner) { return image_of_tree(parse(inner).get()); }

  static std::string printed(const lyd_node* tree) {
    char* text = nullptr;
    lyd_print_mem(&text, tree, LYD_XML,
                  LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK | LYD_PRINT_WD_ALL);
    const TextPtr owner(text);
    return text != nullptr ? text : "";
  }

  static const lysc_node* schema(const char* path) {
    return lys_find_path(kestrel::context(), nullptr, path, 0);
  }
};

constexpr char kAll[] =
    "<name>a&amp;b\nc\td\\</name><speed>5</speed><address>AAEC</address>"
    "<limits><low>1</low></limits><port><id>x</id><mode>b</mode></port>"
    "<port><id>y</id><inner><deep>1</deep></inner></port><rule><id>3</id></rule>"
    "<rule><id>1</id><text>t</text></rule><tag>p</tag><tag>q</tag><order>9</order><order>2</order>"
    "<shine>4</shine><on><must-be>m</must-be></on>"
    "<vendor><a xmlns=\"urn:v\">http://h/p</a></vendor>";

TEST_F(ImageTest, ComesBackAsTheTreeItWasMadeOf) {
  const TreePtr tree = parse(kAll);
  const ImagePtr made = image_of_tree(tree.get());
  const TreePtr back = tree_of_image(*made, false);
  EXPECT_EQ(printed(back.get()), printed(tree.get()));
  EXPECT_TRUE(same_image(*image_of_tree(back.get()), *made));
}

TEST_F(ImageTest, LeavesDefaultsOutWhenOnlyWhatIsConfiguredIsAskedFor) {
  lyd_node* tree = parse("<name>n</name><port><id>x</id></port>").release();
  ASSERT_EQ(lyd_validate_all(&tree, nullptr, LYD_VALIDATE_PRESENT, nullptr), LY_SUCCESS);
  const TreePtr owner(tree);
  const ImagePtr made = image_of_tree(tree);
  EXPECT_EQ(printed(tree_of_image(*made, true).get()),
            "<top xmlns=\"urn:s\"><name>n</name><port><id>x</id></port></top>");
  const TreePtr back = tree_of_image(*made, false);
  EXPECT_EQ(printed(back.get()), printed(tree));
  const lyd_node* speed = lyd_child(back.get())->next;
  EXPECT_EQ(speed->flags & LYD_DEFAULT, LYD_DEFAULT);
}

TEST_F(ImageTest, TextGivesTheImageBack) {
  const ImagePtr made = image(kAll);
  const std::string text = image_text(*made);
  ImagePtr back = empty_image();
  ASSERT_EQ(nexa_test::line_of(apply_text(text, back)), "") << text;
  EXPECT_TRUE(same_image(*back, *made));
  EXPECT_EQ(image_text(*back), text);
}

TEST_F(ImageTest, TextNamesEachStep) {
  const ImagePtr before = image("<name>n</name><port><id>x</id><mode>b</mode></port><tag>p</tag>");
  const ImagePtr after =
      image("<port><id>x</id></port><port><id>z</id><note>1\t2</note></port><speed>7</speed>");
  EXPECT_EQ(difference_text(*before, *after),
            ">s:top\n-name\n#speed\t7\n>port\tx\n-mode\n<\n@2\n+port\tz\n=id\tz\n=note\t1\\t2\n<\n"
            "-tag\tp\n<\n");
  EXPECT_EQ(difference_text(*after, *after), "");
}

TEST_F(ImageTest, RefusesATextThatDoesNotFit) {
  for (const auto& [text, why] : std::vector<std::pair<const char*, const char*>>{
           {">s:top\n<\n", "not there at \"s:top\""},
           {"-s:top\n", "not there at \"s:top\""},
           {"+s:top\n=name\tx\n", "unknown or cut short at \"name\""},
           {"+s:top\n<\n>s:top\n=name\tx\n", "cut short at \"name\""},
           {"+s:top\n<\n>s:top\n-port\tx\n<\n", "not there at \"port\""},
           {"+s:top\n+port\tx\n=id\tx\n<\n<\n>s:top\n-port\ty\n<\n", "not there at \"port\""},
           {"+s:top\n+port\tx\n=id\tx\n<\n<\n>s:top\n>port\ty\n<\n<\n", "not there at \"port\""},
           {"+s:other\n<\n", "unknown at \"s:other\""},
           {"+x:top\n<\n", "unknown at \"x:top\""},
           {"+s:top\n=nosuch\t1\n<\n", "unknown or cut short at \"nosuch\""},
           {"+s:top\nxvendor\t<vendor\n<\n", "anydata that cannot be read at \"vendor\""},
           {"<\n", "too many ends at \"\""},
       }) {
    ImagePtr made = empty_image();
    const nexa::text::Done done = apply_text(text, made);
    ASSERT_FALSE(done.ok()) << text;
    EXPECT_EQ(done.failure().rule, why) << text;
  }
}

// What is not written may still be read: lines without a text, and a last one without its end.
TEST_F(ImageTest, ReadsLinesThatNobodyWrites) {
  ImagePtr made = empty_image();
  ASSERT_EQ(line_of(apply_text("+s:top\n\n=name\tx\n\n<", made)), "");
  EXPECT_TRUE(same_image(*made, *image("<name>x</name>")));
  made = empty_image();
  ASSERT_EQ(line_of(apply_text("+s:top\n=name\ta\\\n<\n", made)), "");
  EXPECT_TRUE(same_image(*made, *image("<name>a\\</name>")));
  made = empty_image();
  EXPECT_EQ(line_of(apply_text("+s:top\n~\n<\n", made)), "unknown or cut short at \"\"");
}

TEST_F(ImageTest, ImagesAreTheSameWhenAllOfThemIs) {
  const auto same = [](const std::string& left, const std::string& right) {
    const ImagePtr one = image(left);
    const ImagePtr other = image(right);
    EXPECT_EQ(same_image(*one, *other), same_image(*other, *one));
    return same_image(*one, *other);
  };
  EXPECT_TRUE(same(kAll, kAll));
  EXPECT_FALSE(same("<name>a</name>", "<name>b</name>"));
  EXPECT_FALSE(same("<name>a</name>", "<speed>1</speed>"));
  EXPECT_FALSE(same("<name>a</name>", "<name>a</name><speed>1</speed>"));
  EXPECT_FALSE(same("<tag>a</tag>", "<tag>b</tag>"));
  EXPECT_FALSE(same("<tag>a</tag>", "<tag>a</tag><tag>b</tag>"));
  EXPECT_FALSE(same("<tag>a</tag><tag>c</tag>", "<tag>a</tag><tag>b</tag>"));
  EXPECT_FALSE(same("<order>1</order><order>2</order>", "<order>2</order><order>1</order>"));
  EXPECT_FALSE(same("<port><id>1</id><mode>a</mode></port><port><id>2</id></port>",
                    "<port><id>1</id><mode>b</mode></port><port><id>2</id></port>"));
  EXPECT_FALSE(same("<vendor><a xmlns=\"urn:v\">1</a></vendor>",
                    "<vendor><a xmlns=\"urn:v\">2</a></vendor>"));
}

TEST_F(ImageTest, TextKeepsThePlacesOfEntries) {
  ImageSlot root = image("<tag>a</tag><tag>b</tag><tag>c</tag>");
  ImageSlot& top = *ImageDraft::child(root, schema("/s:top"));
  ImageSlot& tags = *ImageDraft::child(top, schema("/s:top/tag"));
  ASSERT_TRUE(ImageDraft::remove_entry(tags, "b"));
  const auto leaf = ImageLeaf::make(schema("/s:top/tag"), "a", ScalarForm::kString, false);
  ImageDraft::put_entry(tags, leaf, tags->group().next_order());
  EXPECT_EQ(image_text(root->inner()), "+s:top\n@3\n=tag\tc\n=tag\ta\n<\n");
  ImagePtr back = empty_image();
  ASSERT_EQ(nexa_test::line_of(apply_text(image_text(root->inner()), back)), "");
  EXPECT_TRUE(same_image(*back, *root));
}

// What a schema of many entries holds most of: the same short values.
TEST_F(ImageTest, EqualShortValuesAreOneNode) {
  const auto made = [](const char* path, const std::string& text, bool is_default = false) {
    return ImageLeaf::make(schema(path), text, ScalarForm::kString, is_default);
  };
  const auto one = made("/s:top/name", "a name");
  EXPECT_EQ(made("/s:top/name", "a name").get(), one.get());
  EXPECT_NE(made("/s:top/name", "a name", true).get(), one.get());
  EXPECT_NE(made("/s:top/name", "another").get(), one.get());
  EXPECT_NE(made("/s:top/port/note", "a name").get(), one.get());
  EXPECT_NE(ImageLeaf::make(schema("/s:top/name"), "a name", ScalarForm::kBare, false).get(),
            one.get());
  const std::string longer(100, 'x');
  EXPECT_NE(made("/s:top/name", longer).get(), made("/s:top/name", longer).get());
  EXPECT_NE(made("/s:top/port/id", "a").get(), made("/s:top/port/id", "a").get());
  // However many there are, each has its own value.
  std::vector<ImageRef<ImageLeaf>> many;
  for (int i = 0; i < 100'000; ++i) many.push_back(made("/s:top/name", std::to_string(i)));
  for (int i = 0; i < 100'000; ++i) {
    ASSERT_EQ(many[static_cast<std::size_t>(i)]->text(), std::to_string(i));
  }
}

TEST_F(ImageTest, DraftsLeaveWhatTheyShareAlone) {
  const ImagePtr before = image(kAll);
  const std::string text = image_text(*before);
  ImageSlot root = before;
  ImageSlot& top = *ImageDraft::child(root, schema("/s:top"));
  ImageSlot& ports = *ImageDraft::child(top, schema("/s:top/port"));
  ASSERT_TRUE(ImageDraft::remove_entry(ports, "x"));
  ImageDraft::remove(top, schema("/s:top/name"));
  EXPECT_EQ(image_text(*before), text);
  EXPECT_EQ(difference_text(*before, root->inner()), ">s:top\n-name\n-port\tx\n<\n");
  ImagePtr again = before;
  ASSERT_EQ(nexa_test::line_of(apply_text(difference_text(*before, root->inner()), again)), "");
  EXPECT_TRUE(same_image(*again, *root));
}

// Groups against a map: entries come, go, change and move at random, above and below the size at
// which a group becomes a trie.
TEST_F(ImageTest, GroupsBehaveAsMapsWithAnOrder) {
  std::mt19937 random(7);
  const lysc_node* const list = schema("/s:top/port");
  const auto entry = [&](const std::string& id, const std::string& mode) {
    std::vector<ImageSlot> leafs;
    leafs.push_back(ImageLeaf::make(schema("/s:top/port/id"), id, ScalarForm::kString, false));
    leafs.push_back(ImageLeaf::make(schema("/s:top/port/mode"), mode, ScalarForm::kString, false));
    return ImageSlot(ImageInner::make(list, false, std::move(leafs)));
  };
  for (const std::size_t keys : {5U, 40U, 3000U}) {
    ImageSlot group = ImageGroup::make(list);
    std::map<std::string, std::pair<std::uint64_t, std::string>> model;
    std::vector<std::pair<ImageSlot, std::map<std::string, std::pair<std::uint64_t, std::string>>>>
        kept;
    for (int step = 0; step < 20000; ++step) {
      const std::string id = std::to_string(random() % keys);
      if (random() % 3 == 0) {
        EXPECT_EQ(ImageDraft::remove_entry(group, id), model.erase(id) == 1);
      } else {
        const std::string mode = std::to_string(random() % 2);
        const auto old = model.find(id);
        const std::uint64_t order =
            old != model.end() ? old->second.first : group->group().next_order();
        ImageDraft::put_entry(group, entry(id, mode));
        model[id] = {order, mode};
      }
      ASSERT_EQ(group->group().size(), model.size());
      if (step % 4000 == 0) kept.emplace_back(group, model);
    }
    kept.emplace_back(group, model);
    for (const auto& [state, expected] : kept) {
      std::uint64_t last = 0;
      std::size_t count = 0;
      for (const GroupEntry* const found : state->group().in_order()) {
        EXPECT_GT(found->order, last);
        last = found->order;
        const auto wanted = expected.find(image_key(*found->node));
        ASSERT_NE(wanted, expected.end());
        EXPECT_EQ(wanted->second.first, found->order);
        EXPECT_EQ(wanted->second.second, found->node->inner().children()[1]->leaf().text());
        EXPECT_EQ(state->group().find(wanted->first), found);
        ++count;
      }
      EXPECT_EQ(count, expected.size());
    }
    for (const auto& [left, left_model] : kept) {
      for (const auto& [right, right_model] : kept) {
        std::map<std::string, std::pair<std::uint64_t, std::string>> patched = left_model;
        left->group().each_difference(
            right->group(),
            [&, &wanted = right_model](const GroupEntry* mine, const GroupEntry* other) {
              if (mine != nullptr && other == nullptr) patched.erase(image_key(*mine->node));
              if (other != nullptr) {
                const std::string key = image_key(*other->node);
                patched[key] = wanted.at(key);
              }
            });
        EXPECT_EQ(patched, right_model);
      }
    }
  }
}

TEST_F(ImageTest, LongValuesAndEmptyOnesKeepTheirText) {
  for (const std::size_t size : {0U, 1U, 65534U, 65535U, 65536U, 200000U}) {
    const std::string text(size, 'x');
    const auto leaf = ImageLeaf::make(schema("/s:top/name"), text, ScalarForm::kString, false);
    EXPECT_EQ(leaf->text(), text);
    EXPECT_EQ(*(leaf->text().data() + size), '\0');
  }
}

}  // namespace
}  // namespace nexa_test
