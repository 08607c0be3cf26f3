// What a snapshot gives of itself: as deep as is asked, of the models that are asked for, and what
// became of it since another one.
#include "store/tree_snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shop_models.h"
#include "support/results.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace tree_snapshot_test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::shared_ptr<const model::ModelSet> models(const std::string& name) {
  google::protobuf::RepeatedPtrField<gnmi::ModelData> list;
  list.Add()->set_name(name);
  return model::ModelSet::of(list, list).value();
}

std::string stock(const std::string& inner) {
  return "<stock xmlns=\"urn:shop\">" + inner + "</stock>";
}

class SnapshotTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  static Query query(std::string_view path) {
    translate::PathStringError error;
    Query made;
    made.target =
        nexa_test::target_of(*translate::parse_path_string(path, &error), model::Purpose::kRead);
    return made;
  }

  // "PATH VALUE" of each.
  static std::vector<std::string> read(const Query& asked, const std::string& xml) {
    const TreeSnapshot snapshot(nexa_test::shop_image(xml), 1);
    std::vector<std::string> lines;
    const grpc::Status status =
        snapshot.read(asked, nullptr, [&](gnmi::Path& path, gnmi::TypedValue& value) {
          lines.push_back(translate::format_path_string(path) + " " +
                          (value.has_json_ietf_val() ? value.json_ietf_val()
                           : value.has_ascii_val()   ? value.ascii_val()
                                                     : value.ShortDebugString()));
        });
    EXPECT_TRUE(status.ok()) << status.error_message();
    return lines;
  }

  // The paths that came, and with a minus those that went.
  static std::vector<std::string> changes(const Query& asked, const std::string& before,
                                          const std::string& after) {
    const TreeSnapshot old(nexa_test::shop_image(before), 1);
    const TreeSnapshot now(nexa_test::shop_image(after), 2);
    std::vector<std::string> lines;
    ChangeSink sink;
    sink.update = [&lines](gnmi::Path& path, gnmi::TypedValue& /*value*/) {
      lines.push_back(translate::format_path_string(path));
    };
    sink.gone = [&lines](gnmi::Path& path) {
      lines.push_back("-" + translate::format_path_string(path));
    };
    const grpc::Status status = now.read_changes(asked, old, nullptr, sink);
    EXPECT_TRUE(status.ok()) << status.error_message();
    return lines;
  }
};

const char* const kDeep =
    "<owner>x</owner><door>1</door><card><number>1</number></card><sign/>"
    "<item><name>a</name><tag>t</tag><size><width>1</width></size></item>";

TEST_F(SnapshotTest, LevelsBelowAreShownAsManyAsAreAsked) {
  Query asked = query("/shop:stock");
  const auto of_depth = [&](std::uint32_t depth) {
    asked.depth = depth;
    return read(asked, stock(kDeep));
  };
  const std::string at = "/shop:stock ";
  EXPECT_THAT(of_depth(1), ElementsAre(at + R"({"shop:owner":"x","shop:door":[1]})"));
  EXPECT_THAT(of_depth(2),
              ElementsAre(at + R"({"shop:owner":"x","shop:sign":{},"shop:item":[{"name":"a",)"
                               R"("tag":["t"]}],"shop:card":{"number":"1"},"shop:door":[1]})"));
  EXPECT_EQ(of_depth(3), of_depth(0));
  EXPECT_THAT(of_depth(3).front(), HasSubstr(R"("size":{"width":1})"));
}

TEST_F(SnapshotTest, LeavesAreGivenAsDeepAsIsAsked) {
  Query asked = query("/shop:stock");
  asked.form = Form::kLeaves;
  asked.encoding = gnmi::PROTO;
  const auto of_depth = [&](std::uint32_t depth) {
    asked.depth = depth;
    std::vector<std::string> lines = read(asked, stock(kDeep));
    for (std::string& line : lines) line = line.substr(0, line.find(' '));
    return lines;
  };
  EXPECT_THAT(of_depth(1), UnorderedElementsAre("/shop:stock/owner", "/shop:stock/door"));
  EXPECT_THAT(
      of_depth(2),
      UnorderedElementsAre("/shop:stock/owner", "/shop:stock/door", "/shop:stock/item[name=a]/name",
                           "/shop:stock/item[name=a]/tag", "/shop:stock/card/number"));
  EXPECT_EQ(of_depth(3).size(), 6U);
  EXPECT_EQ(of_depth(3), of_depth(0));
}

TEST_F(SnapshotTest, LinesAreShownAsDeepAsIsAsked) {
  Query asked = query("/shop:stock");
  asked.encoding = gnmi::ASCII;
  asked.depth = 1;
  EXPECT_THAT(read(asked, stock(kDeep)), ElementsAre("/shop:stock shop:owner x\nshop:door 1\n"));
  asked.depth = 2;
  EXPECT_THAT(read(asked, stock(kDeep)),
              ElementsAre("/shop:stock shop:owner x\nshop:sign\nshop:item[name=a]\n  tag t\n"
                          "shop:card\n  number 1\nshop:door 1\n"));
  asked.depth = 0;
  asked.form = Form::kLeaves;
  EXPECT_THAT(read(asked, stock("<owner>x y</owner><card><number>1</number></card>")),
              ElementsAre("/shop:stock/owner \"x y\"", "/shop:stock/card/number 1"));
}

TEST_F(SnapshotTest, ChangesBelowANodeAreTold) {
  const Query all = query("/shop:stock");
  EXPECT_THAT(changes(all, stock("<owner>x</owner>"), stock("<owner>y</owner>")),
              ElementsAre("/shop:stock/owner"));
  EXPECT_THAT(changes(all, stock(kDeep), stock(kDeep)), IsEmpty());
  EXPECT_THAT(changes(query("/shop:stock/item"), stock(kDeep), stock("<owner>y</owner>")),
              ElementsAre("-/shop:stock/item[name=a]"));
  EXPECT_THAT(changes(query("/shop:stock/item[name=b]"), stock(kDeep), ""), IsEmpty());
  EXPECT_THAT(changes(query("/"), stock("<owner>x</owner>"), ""), ElementsAre("-/shop:stock"));
}

TEST_F(SnapshotTest, ChangesOfOtherModelsAreNotTold) {
  const std::string blue =
      "<item><name>a</name><part><id>1</id><kind xmlns:m=\"urn:shop-more\">m:blue</kind>"
      "<note>n</note></part><part><id>2</id><kind>red</kind><note>n</note></part></item>"
      "<season xmlns=\"urn:shop-more\">s</season>";
  Query asked = query("/shop:stock/item[name=a]/part/note");
  EXPECT_EQ(changes(asked, stock(""), stock(blue)).size(), 2U);
  asked.models = models("shop");
  EXPECT_THAT(changes(asked, stock(""), stock(blue)),
              ElementsAre("/shop:stock/item[name=a]/part[id=2][kind=shop:red]/note"));
  EXPECT_THAT(changes(asked, stock(blue), stock("")),
              ElementsAre("-/shop:stock/item[name=a]/part[id=2][kind=shop:red]/note"));
  asked = query("/shop:stock/shop-more:season");
  EXPECT_EQ(changes(asked, stock(""), stock(blue)).size(), 1U);
  asked.models = models("shop");
  EXPECT_THAT(changes(asked, stock(""), stock(blue)), IsEmpty());
}

TEST_F(SnapshotTest, ChangesBelowANodeAreThoseOfTheModelsThatAreAskedFor) {
  const std::string season = "<season xmlns=\"urn:shop-more\">s</season>";
  const std::string item = "<item><name>a</name><weight xmlns=\"urn:shop-more\">1</weight></item>";
  Query asked = query("/shop:stock");
  asked.models = models("shop");
  EXPECT_THAT(changes(asked, stock("<owner>x</owner>" + season + item), stock("<owner>y</owner>")),
              UnorderedElementsAre("/shop:stock/owner", "-/shop:stock/item[name=a]"));
  EXPECT_THAT(changes(asked, stock(item + season), stock("<item><name>a</name></item>")),
              IsEmpty());
  EXPECT_THAT(changes(asked, stock("<item><name>a</name></item>"), stock(item + season)),
              IsEmpty());
}

// An entry without its keys is none.
TEST_F(SnapshotTest, EntriesWhoseKeysAreOfOtherModelsAreNotTold) {
  const std::string blue =
      "<item><name>a</name><part><id>1</id><kind xmlns:m=\"urn:shop-more\">m:blue</kind>"
      "<note>n</note></part><part><id>2</id><kind>red</kind><note>n</note></part></item>";
  Query asked = query("/shop:stock");
  asked.models = models("shop");
  const std::string red = "/shop:stock/item[name=a]/part[id=2][kind=shop:red]";
  EXPECT_THAT(changes(asked, stock("<item><name>a</name></item>"), stock(blue)),
              UnorderedElementsAre(red + "/id", red + "/kind", red + "/note"));
  EXPECT_THAT(changes(asked, stock(blue), stock("<item><name>a</name></item>")),
              UnorderedElementsAre("-" + red));
}

// The order of a leaf-list is what its readers see of it; that of entries is not.
TEST_F(SnapshotTest, AnOtherOrderIsAChangeOfALeafListOnly) {
  const std::string parts =
      "<part><id>1</id><kind>red</kind></part><part><id>2</id><kind>red</kind></part>";
  const std::string turned =
      "<part><id>2</id><kind>red</kind></part><part><id>1</id><kind>red</kind></part>";
  const Query all = query("/shop:stock");
  EXPECT_THAT(changes(all, stock("<item><name>a</name>" + parts + "</item>"),
                      stock("<item><name>a</name>" + turned + "</item>")),
              IsEmpty());
  EXPECT_THAT(
      changes(all, stock("<door>1</door><door>2</door>"), stock("<door>2</door><door>1</door>")),
      ElementsAre("/shop:stock/door"));
}

TEST_F(SnapshotTest, OperationalDataThatDoNotFitAreRefused) {
  const auto parsed = [](const std::string& xml) {
    return nexa_test::line_of(parse_state_tree(xml));
  };
  EXPECT_EQ(parsed("<data/>"), "");
  EXPECT_EQ(parsed("<data>" + stock("<item><name>a</name><sold>1</sold></item>") + "</data>"), "");
  EXPECT_EQ(parsed("nothing"), "the document has no top element");
  EXPECT_THAT(parsed("<data>" + stock("<none>1</none>") + "</data>"), HasSubstr("none"));
  EXPECT_THAT(parsed("<data>" + stock("<item><name>a</name><sold>x</sold></item>") + "</data>"),
              HasSubstr("sold"));
}

}  // namespace tree_snapshot_test
}  // namespace nexa::store
