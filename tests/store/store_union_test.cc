// Values of unions whose JSON type is part of the value: images, documents, the log, and starts
// under another schema.
#include "store/change.h"
#include "store/change_reading.h"
#include "store/image/image_comparison.h"
#include "store/image/image_import.h"
#include "store/image/image_text.h"
#include "store/image/image_xml.h"
#include "store/image/union_value.h"
#include "store_fixture.h"

namespace nexa_test {
namespace {

using nexa::store::ScalarForm;
using nexa::text::JsonType;

constexpr char kUnions[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s";
  prefix s;
  revision 2026-01-01;
  container top {
    leaf value { type union { type int32; type string; } }
    leaf-list many { type union { type int32; type string; } }
    leaf flag { type union { type boolean; type string; } }
    leaf number { type union { type decimal64 { fraction-digits 2; } type int32; } }
    leaf five { type string; must "string-length(../number) = 1"; }
    leaf bare { type union { type empty; type string; } }
    leaf peer { type leafref { path "../entry/id"; } }
    list entry {
      key "id";
      leaf id { type union { type int32; type string; } }
      leaf note { type string; }
      leaf value { type union { type int32; type string; } }
    }
    container deep {
      leaf value { type union { type int32; type string; } }
      leaf other { type union { type int32; type string; } }
    }
  }
})yang";

// The same names; what may be a number is one.
constexpr char kNumbers[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s";
  prefix s;
  revision 2026-02-02;
  container top {
    leaf value { type union { type int32; type enumeration { enum none; } } }
    leaf-list many { type int32; }
  }
})yang";

std::string typed(const std::string& name, const std::string& type, const std::string& text) {
  return "<" + name + " xmlns:json=\"urn:nexa:params:xml:ns:json:1.0\" json:type=\"" + type +
         "\">" + text + "</" + name + ">";
}

class StoreUnion : public StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("s", kUnions), "");
    open();
  }

  std::string read(const std::string& path) const { return read_text(*store_, path); }
};

TEST_F(StoreUnion, MarksAreReadInTagsOnly) {
  const std::string text = " xmlns:json=\"urn:nexa:params:xml:ns:json:1.0\" json:type=\"string\"";
  ASSERT_EQ(commit_text({update("<value>" + text + "</value>")}), "");
  EXPECT_EQ(xml(), config_xml("<value>" + text + "</value>"));
  ASSERT_EQ(commit_text({update(typed("value", "string", text))}), "");
  EXPECT_EQ(xml(), config_xml("<value>" + text + "</value>"));
}

TEST_F(StoreUnion, OnlyWhatTheTextDoesNotSayIsMarked) {
  for (const char* const plain : {"7", "x", "07x"}) {
    ASSERT_EQ(commit_text({update("<value>" + std::string(plain) + "</value>")}), "");
    EXPECT_EQ(xml(), config_xml("<value>" + std::string(plain) + "</value>"));
  }
  ASSERT_EQ(commit_text({update(typed("value", "number", "7"))}), "");
  EXPECT_EQ(xml(), config_xml("<value>7</value>"));
  for (const char* const text : {"7", "007", " 7", "+7"}) {
    ASSERT_EQ(commit_text({update(typed("value", "string", text))}), "");
    EXPECT_EQ(xml(), config_xml(typed("value", "string", text)));
    EXPECT_EQ(read("/s:top/value"), "/s:top/value=\"" + std::string(text) + "\"\n");
  }
}

TEST_F(StoreUnion, ATypeThatNoMemberHasIsRefused) {
  EXPECT_EQ(commit_text({update(typed("value", "number", "007x"))}),
            "");  // the only reading keeps the text
  EXPECT_EQ(read("/s:top/value"), "/s:top/value=\"007x\"\n");
  EXPECT_EQ(commit_text({update(typed("value", "boolean", "007"))}),
            "/s:top/value: no member of the union takes the value with its JSON type");
}

TEST_F(StoreUnion, BothTextsOfTheLogKeepTheTypes) {
  const std::string before = typed("value", "string", "007") + typed("many", "string", "1") +
                             "<many>2</many><entry>" + typed("id", "string", "5") +
                             "<note>n</note></entry>";
  ASSERT_EQ(commit_text({update(before)}), "");
  const std::string kept = xml();
  open();
  ASSERT_EQ(error_, "");
  EXPECT_EQ(xml(), kept);
  ASSERT_EQ(commit_text({put("/s:top/value", "<value>7</value>")}), "");
  ASSERT_EQ(commit_text({put("/s:top/many", "<many>1</many>" + typed("many", "string", "2"))}), "");
  ASSERT_EQ(commit_text({put("/s:top/entry", "<entry>" + typed("id", "number", "5") + "</entry>")}),
            "");
  const std::string other = xml();
  open();
  ASSERT_EQ(error_, "");
  EXPECT_EQ(xml(), other);
  ASSERT_TRUE(store_->rollback(1, "tester", nullptr).status.ok());
  EXPECT_EQ(xml(), kept);
  open();
  EXPECT_EQ(xml(), kept);
}

TEST_F(StoreUnion, EntriesWhoseNumbersAgreeAreOthers) {
  ASSERT_EQ(commit_text({update("<entry><id>7</id></entry><entry>" + typed("id", "string", "007") +
                                "</entry><many>7</many>" + typed("many", "string", "07"))}),
            "");
  ASSERT_EQ(
      commit_text({update("<entry>" + typed("id", "string", "007") + "<note>a</note></entry>")}),
      "");
  ASSERT_EQ(commit_text({update("<entry><id>7</id><note>b</note></entry>")}), "");
  EXPECT_EQ(xml(), config_xml("<many>7</many>" + typed("many", "string", "07") +
                              "<entry><id>7</id><note>b</note></entry><entry>" +
                              typed("id", "string", "007") + "<note>a</note></entry>"));
  ASSERT_EQ(commit_text({update(typed("peer", "string", "007"))}), "");
  ASSERT_EQ(commit_text({drop("/s:top/entry[id=7]")}), "");
  EXPECT_NE(commit_text({update("<peer>7</peer>")}), "");
}

TEST_F(StoreUnion, AnUpdateGivesAKeyThatStandsNoOtherType) {
  ASSERT_EQ(commit_text({update("<entry>" + typed("id", "string", "5") +
                                "</entry>"
                                "<entry><id>6</id></entry>")}),
            "");
  const std::string kept = xml();
  EXPECT_EQ(
      commit_text({update("<entry>" + typed("id", "number", "5") + "</entry>")}),
      "/s:top/entry[id='5']/id: the entry's key is a JSON string, and the value names it as a "
      "number");
  EXPECT_EQ(
      commit_text({update("<entry>" + typed("id", "string", "6") + "</entry>")}),
      "/s:top/entry[id='6']/id: the entry's key is a JSON number, and the value names it as a "
      "string");
  EXPECT_EQ(xml(), kept);
  // One that names its entry as it stands, or without saying a type, or an entry that is not there.
  EXPECT_EQ(commit_text({update("<entry>" + typed("id", "string", "5") + "</entry>")}), "");
  EXPECT_EQ(commit_text({update("<entry><id>5</id></entry>")}), "");
  EXPECT_EQ(xml(), kept);
  EXPECT_EQ(commit_text({update("<entry>" + typed("id", "string", "8") + "</entry>")}), "");
}

// Neighbours of one form: each is marked by its own text.
TEST_F(StoreUnion, EachEntryIsMarkedByItself) {
  const std::string many = "<many>x</many>" + typed("many", "string", "007") + "<many>y</many>" +
                           typed("many", "string", "5") + "<many>5a</many>";
  ASSERT_EQ(commit_text({update(many)}), "");
  EXPECT_EQ(xml(), config_xml(many));
  open();
  EXPECT_EQ(xml(), config_xml(many));
}

TEST_F(StoreUnion, TheSameLeafOfNeighboursIsMarkedByItsType) {
  std::string entries;
  for (const char* const type : {"number", "string", "number", "string"}) {
    entries += "<entry><id>" + std::to_string(entries.size()) + "</id>";
    entries += type == std::string("string") ? typed("value", type, "7") : "<value>7</value>";
    entries += "</entry>";
  }
  ASSERT_EQ(commit_text({update(entries)}), "");
  EXPECT_EQ(xml(), config_xml(entries));
}

// More of them than marks are remembered.
TEST_F(StoreUnion, EachOfAThousandEntriesIsMarkedByItself) {
  std::string many;
  for (int i = 0; i < 500; ++i) {
    const std::string number = std::to_string(i);
    many += typed("many", "string", number);
    many += "<many>x" + number + "</many>";
  }
  ASSERT_EQ(commit_text({update(many)}), "");
  EXPECT_EQ(xml(), config_xml(many));
}

TEST_F(StoreUnion, ABooleanAndANumberAreTwoTypes) {
  EXPECT_EQ(commit_text({update(typed("flag", "boolean", "true"))}), "");
  EXPECT_EQ(read("/s:top/flag"), "/s:top/flag=true\n");
  EXPECT_EQ(xml(), config_xml("<flag>true</flag>"));
  EXPECT_EQ(commit_text({update(typed("flag", "string", "true"))}), "");
  EXPECT_EQ(read("/s:top/flag"), "/s:top/flag=\"true\"\n");
  EXPECT_EQ(xml(), config_xml(typed("flag", "string", "true")));
  EXPECT_EQ(commit_text({update(typed("flag", "string", "false"))}), "");
  EXPECT_EQ(xml(), config_xml(typed("flag", "string", "false")));
  EXPECT_EQ(commit_text({update(typed("flag", "boolean", "false"))}), "");
  EXPECT_EQ(read("/s:top/flag"), "/s:top/flag=false\n");
}

// A decimal64 is a string in JSON (RFC 7951, section 6.1), so both members are told apart.
TEST_F(StoreUnion, ANumberIsNotTheDecimalThatItsTextWouldBe) {
  std::string many;
  for (int i = 0; i < 20; ++i) many += "<many>" + std::to_string(i) + "</many>";
  ASSERT_EQ(commit_text({update(many)}), "");  // so that a Set is judged by what it changes
  const std::pair number("number", "5");
  const std::pair decimal("string", "\"5.0\"");
  for (const auto& [type, value] : {number, decimal, number, number}) {
    ASSERT_EQ(commit_text({update(typed("number", type, "5"))}), "");
    EXPECT_EQ(read("/s:top/number"), "/s:top/number=" + std::string(value) + "\n");
    EXPECT_EQ(
        commit_text({update("<five/>")}),
        type == std::string("number") ? "" : "/s:top/five: must \"string-length(../number) = 1\"");
    EXPECT_EQ(commit_text({drop("/s:top/five")}), "");
    EXPECT_EQ(read("/s:top/number"), "/s:top/number=" + std::string(value) + "\n");
  }
}

// Also where a hash table finds them.
TEST_F(StoreUnion, AnEntryIsGivenOnceWhateverItsType) {
  const auto entry = [](const std::string& id) { return "<entry>" + id + "</entry>"; };
  for (const int others : {0, 30}) {
    std::string entries;
    std::string values;
    for (int i = 10; i < 10 + others; ++i) {
      entries += entry("<id>" + std::to_string(i) + "</id>");
      values += "<many>" + std::to_string(i) + "</many>";
    }
    for (const std::string& one : {typed("id", "string", "7"), std::string("<id>07</id>")}) {
      for (const std::string& other : {typed("id", "string", "7"), std::string("<id>7</id>")}) {
        EXPECT_EQ(commit_text({update(entries + entry(one) + entry(other))}),
                  "/s:top/entry[id='7']: duplicate \"entry\"");
      }
    }
    for (const std::string& one : {typed("many", "string", "7"), std::string("<many>07</many>")}) {
      for (const std::string& other :
           {typed("many", "string", "7"), std::string("<many>7</many>")}) {
        EXPECT_EQ(commit_text({update(values + one + other)}),
                  "/s:top/many[.='7']: duplicate \"many\"");
      }
    }
  }
}

TEST_F(StoreUnion, TheEmptyValueIsANull) {
  EXPECT_EQ(commit_text({update("<bare/>")}), "");
  EXPECT_EQ(read("/s:top/bare"), "/s:top/bare=[null]\n");
  const std::string empty = xml();
  EXPECT_EQ(commit_text({update(typed("bare", "string", ""))}), "");
  EXPECT_EQ(read("/s:top/bare"), "/s:top/bare=\"\"\n");
  EXPECT_NE(xml(), empty);
  const std::string text = xml();
  open();
  EXPECT_EQ(xml(), text);
  EXPECT_EQ(commit_text({update(typed("bare", "null", ""))}), "");
  EXPECT_EQ(xml(), empty);
}

// What an update gives again with another type is a change, at every depth and nowhere else.
TEST_F(StoreUnion, OnlyTheLeafWhoseTypeChangedIsChanged) {
  ASSERT_EQ(commit_text({update("<value>7</value><deep><value>7</value><other>7</other></deep>"
                                "<entry><id>1</id><note>n</note></entry>")}),
            "");
  ASSERT_EQ(commit_text({update("<deep>" + typed("value", "string", "7") + "</deep>")}), "");
  EXPECT_EQ(xml(), config_xml("<value>7</value><entry><id>1</id><note>n</note></entry><deep>" +
                              typed("value", "string", "7") + "<other>7</other></deep>"));
  ASSERT_EQ(commit_text({put("/s:top/deep", "<deep>" + typed("value", "number", "7") +
                                                typed("other", "string", "7") + "</deep>")}),
            "");
  EXPECT_EQ(xml(), config_xml("<value>7</value><entry><id>1</id><note>n</note></entry><deep>"
                              "<value>7</value>" +
                              typed("other", "string", "7") + "</deep>"));
  EXPECT_EQ(commit({update("<deep><other>8</other></deep>")}).number, 4U);
}

TEST_F(StoreUnion, AStartUnderAnotherSchemaReadsTheTextWhereTheTypeIsGone) {
  ASSERT_EQ(commit_text({update(typed("value", "string", "7") + typed("many", "string", "8"))}),
            "");
  store_.reset();
  ASSERT_EQ(load_module("s", kNumbers), "");
  open();
  ASSERT_EQ(error_, "");
  EXPECT_EQ(read("/s:top/value"), "/s:top/value=7\n");
  EXPECT_EQ(read("/s:top/many"), "/s:top/many=[8]\n");
}

// A difference names an entry by its key's text, so it cannot say that the key is another one.
TEST_F(StoreUnion, AnotherTypeOfAKeyCannotBeSaidAsADifference) {
  const auto image = [](const std::string& id) {
    const nexa::store::TreePtr tree = nexa_test::value_of(
        nexa::store::parse_nodes(nexa::store::inner_xml(in_top("<entry>" + id + "</entry>"))));
    return nexa::store::image_of_tree(tree.get());
  };
  const nexa::store::ImagePtr number = image("<id>7</id>");
  const nexa::store::ImagePtr text = image(typed("id", "string", "7"));
  std::string difference;
  EXPECT_FALSE(nexa::store::change_xml(*number, *text, difference));
  difference.clear();
  EXPECT_TRUE(nexa::store::change_xml(*number, *image("<id>8</id>"), difference));
}

TEST_F(StoreUnion, AnImageDiffersByTheType) {
  const auto image = [](const std::string& inner) {
    const nexa::store::TreePtr tree =
        nexa_test::value_of(nexa::store::parse_nodes(nexa::store::inner_xml(in_top(inner))));
    return nexa::store::image_of_tree(tree.get());
  };
  const nexa::store::ImagePtr number = image("<value>7</value>");
  const nexa::store::ImagePtr text = image(typed("value", "string", "7"));
  EXPECT_FALSE(nexa::store::same_image(*number, *text));
  EXPECT_EQ(nexa::store::difference_text(*number, *text), ">s:top\n=value\t7\n<\n");
  EXPECT_EQ(nexa::store::first_difference(*number, *text, nexa::store::Compared::kConfigured),
            "/s:top/value");
}

}  // namespace
}  // namespace nexa_test
