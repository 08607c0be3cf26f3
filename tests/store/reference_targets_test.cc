// Leafrefs that are found by the index of instances: the verdicts are those of libyang alone, and
// many references to many instances cost their number.
#include "store/validation/reference_targets.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "real/temp_folder.h"
#include "store/validation/validation.h"
#include "support/processor_time.h"

namespace nexa::store {
namespace reference_targets_test {

constexpr char kOther[] = R"yang(module other {
  yang-version 1.1;
  namespace "urn:other";
  prefix z;
  container others {
    list other { key "id"; leaf id { type string; } leaf gone { when "../id != 'b'"; type string; } }
  }
})yang";

constexpr char kBack[] = R"yang(module back {
  yang-version 1.1;
  namespace "urn:back";
  prefix b;
  import refs { prefix r; }
  container back { leaf-list to-top { type leafref { path "/r:top/r:entry/r:id"; } } }
})yang";

constexpr char kModule[] = R"yang(module refs {
  yang-version 1.1;
  namespace "urn:refs";
  prefix r;
  import other { prefix z; }
  typedef mixed { type union { type uint8; type string; } }
  container top {
    list entry {
      key "id";
      leaf id { type string; }
      leaf level { type uint8; default 3; }
      leaf value { type mixed; }
      leaf extra { when "../id != 'b'"; type string; default "x"; }
      leaf same { type leafref { path "../level"; } }
      leaf to-id { type leafref { path "../../entry/id"; } }
      leaf to-level { type leafref { path "/top/entry/level"; } }
      leaf to-extra { type leafref { path "/r:top/r:entry/r:extra"; } }
      leaf to-value { type leafref { path "../../entry/value"; } }
      leaf-list to-inner { type leafref { path "../inner/name"; } }
      leaf to-one { type leafref { path "../../entry[id = current()/../to-id]/inner/name"; } }
      leaf either { type union { type leafref { path "../../entry/id"; } type enumeration { enum e; } } }
      leaf free { type leafref { path "../../entry/id"; require-instance false; } }
      list inner { key "name"; leaf name { type string; } }
    }
    leaf-list name { type string; }
    leaf to-name { type leafref { path "../name"; } }
    leaf chain { type leafref { path "../to-name"; } }
    leaf to-other { type leafref { path "/z:others/z:other/z:gone"; } }
  }
})yang";

class ReferenceTargetsTest : public testing::Test {
 protected:
  void SetUp() override {
    const nexa_test::TempFolder folder;
    folder.write("other.yang", kOther);
    folder.write("back.yang", kBack);
    folder.write("refs.yang", kModule);
    ASSERT_EQ(nexa_test::load_text(folder), "");
    indexed_ = std::make_unique<Validator>();
    alone_ = std::make_unique<Validator>(Validator::By::kLibyangAlone);
  }

  static std::string verdict(Validator& validator, const std::string& xml) {
    lyd_node* tree = nullptr;
    if (lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                           LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree) != LY_SUCCESS) {
      return std::string("unreadable: ") + ly_errmsg(kestrel::context());
    }
    const std::optional<Violation> violation = validator.judge_whole(tree);
    const TreePtr owner(tree);
    return violation ? violation->path + ": " + violation->rule : "";
  }

  std::unique_ptr<Validator> indexed_;
  std::unique_ptr<Validator> alone_;
};

std::string top(const std::string& inner) { return "<top xmlns=\"urn:refs\">" + inner + "</top>"; }

TEST_F(ReferenceTargetsTest, WhatIsThereIsFoundAndWhatIsNotIsRefused) {
  const std::string a = "<entry><id>a</id>";
  EXPECT_EQ(verdict(*indexed_, top(a + "<to-id>a</to-id><same>3</same></entry>")), "");
  EXPECT_EQ(verdict(*indexed_, top(a + "<to-id>b</to-id></entry>")),
            "/refs:top/entry[id='a']/to-id: leafref: no \"../../entry/id\" with value \"b\"");
  EXPECT_EQ(verdict(*indexed_, top(a + "<same>4</same></entry>")),
            "/refs:top/entry[id='a']/same: leafref: no \"../level\" with value \"4\"");
  EXPECT_EQ(verdict(*indexed_, top("<name>n</name><to-name>n</to-name><chain>n</chain>")), "");
}

// The instance that a false `when` takes out of another module's tree is none.
TEST_F(ReferenceTargetsTest, WhatGoesMeanwhileIsNotFound) {
  const auto others = [](const std::string& id) {
    return "<others xmlns=\"urn:other\"><other><id>" + id + "</id><gone>g</gone></other></others>";
  };
  const std::string reference = top("<to-other>g</to-other>");
  for (const std::string id : {"a", "b"}) {
    EXPECT_EQ(verdict(*indexed_, reference + others(id)), verdict(*alone_, reference + others(id)));
    EXPECT_EQ(verdict(*indexed_, others(id) + reference), verdict(*alone_, others(id) + reference));
  }
}

TEST_F(ReferenceTargetsTest, VerdictsAreThoseOfLibyangAlone) {
  std::mt19937 random(7);
  const auto one_of = [&random](std::initializer_list<const char*> values) {
    return std::string(*(values.begin() + random() % values.size()));
  };
  int valid = 0;
  for (int round = 0; round < 3'000; ++round) {
    std::string inner;
    const auto leaf = [&](const char* name, const std::string& value) {
      if (random() % 4 == 0)
        inner.append("<").append(name).append(">") += value + "</" + name + ">";
    };
    for (const char* const id : {"a", "b", "c"}) {
      if (random() % 3 == 0) continue;
      inner += std::string("<entry><id>") + id + "</id>";
      leaf("level", one_of({"1", "2", "3"}));
      leaf("value", one_of({"1", "01", "a"}));
      leaf("same", one_of({"1", "2", "3"}));
      leaf("to-id", one_of({"a", "b", "c"}));
      leaf("to-level", one_of({"1", "3"}));
      leaf("to-extra", "x");
      leaf("to-value", one_of({"1", "01", "a"}));
      leaf("to-inner", "n");
      leaf("to-one", "n");
      leaf("either", one_of({"a", "b", "e"}));
      leaf("free", one_of({"a", "z"}));
      if (random() % 2 == 0) inner += "<inner><name>n</name></inner>";
      inner += "</entry>";
    }
    if (random() % 2 == 0) inner += "<name>n</name>";
    leaf("to-name", one_of({"n", "m"}));
    leaf("chain", one_of({"n", "m"}));
    std::string xml = top(inner);
    if (random() % 2 == 0) {
      xml += "<back xmlns=\"urn:back\"><to-top>" + one_of({"a", "b"}) + "</to-top></back>";
    }
    const std::string reference = verdict(*alone_, xml);
    ASSERT_EQ(verdict(*indexed_, xml), reference) << xml;
    valid += reference.empty() ? 1 : 0;
  }
  EXPECT_GT(valid, 100);
  EXPECT_LT(valid, 2'900);
}

TEST_F(ReferenceTargetsTest, ManyCostTheirNumber) {
  const auto cpu_of = [this](int entries) {
    std::string inner;
    for (int entry = 0; entry < entries; ++entry) {
      const std::string id = std::to_string(entry);
      inner += "<entry><id>" + id + "</id><to-id>" + std::to_string(entries - 1 - entry) +
               "</to-id></entry>";
    }
    return nexa_test::least_processor_seconds(
        [&] { EXPECT_EQ(verdict(*indexed_, top(inner)), ""); }, 3);
  };
  const double few = cpu_of(1'000);
  EXPECT_LT(cpu_of(8'000), few * 20);  // 64 times, were all instances looked through for each
}

}  // namespace reference_targets_test
}  // namespace nexa::store
