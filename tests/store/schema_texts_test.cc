// The table of texts when one schema follows another.
#include "store/image/schema_texts.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>

#include "real/temp_folder.h"

namespace nexa::store {
namespace schema_texts_test {

const lysc_node* first_node() {
  const lys_module* const module = ly_ctx_get_module_implemented(kestrel::context(), "s");
  return module == nullptr ? nullptr : lys_getnext(nullptr, nullptr, module->compiled, 0);
}

// The first threads that ask for the table of a new schema make it while others ask, and the table
// of the schema before goes.
TEST(SchemaTexts, OfANewSchemaAreMadeOnceForAllThreadsThatAsk) {
  for (int round = 0; round < 100; ++round) {
    const std::string name = "leaf" + std::to_string(round);
    ASSERT_EQ(nexa_test::load_module("s", "module s { namespace \"urn:s\"; prefix s; leaf " + name +
                                              " { type string; } }"),
              "");
    number_schema();
    const lysc_node* const node = first_node();
    ASSERT_NE(node, nullptr);
    std::atomic<int> ready{0};
    std::array<const SchemaTexts*, 4> tables{};
    std::array<std::string, 4> names;
    std::array<std::thread, 4> threads;
    for (std::size_t at = 0; at < threads.size(); ++at) {
      threads.at(at) = std::thread([&, at] {
        for (++ready; ready.load() < static_cast<int>(threads.size());) std::this_thread::yield();
        tables.at(at) = &SchemaTexts::current();
        names.at(at) = tables.at(at)->of(node).name;
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t at = 0; at < threads.size(); ++at) {
      EXPECT_EQ(tables.at(at), tables.front());
      EXPECT_EQ(names.at(at), name);
    }
  }
}

constexpr char kOpenConfig[] =
    R"y(module openconfig-m { yang-version 1.1; namespace "urn:oc"; prefix oc;
  container box { leaf lid { type string; } } })y";

constexpr char kOne[] =
    R"y(module one { yang-version 1.1; namespace "urn:one?a=1&b=<\"2\">"; prefix o;
  import openconfig-m { prefix oc; } import ietf-yang-types { prefix yang; }
  identity base;
  augment "/oc:box" { leaf lid { type string; } leaf label { type string; } }
  container box { leaf own { type string; } }
  container only { presence "p"; leaf x { type yang:xpath1.0; } }
  container crate {
    list entry { key "a b"; leaf a { type string; } leaf b { type instance-identifier; }
      leaf r { type leafref { path "../b"; } } leaf s { config false; type string; } }
    container way { choice c { leaf here { type empty; } container there { leaf t { type string; } } } }
    leaf u { type union { type uint8; type instance-identifier; } }
    leaf v { type union { type identityref { base base; } type string; } }
    leaf w { type union { type uint8; type string; } }
    leaf n { type uint8; } leaf i { type identityref { base base; } }
    leaf-list l { type boolean; } anydata d; } })y";

constexpr char kTwo[] = R"y(module two { yang-version 1.1; namespace "urn:two"; prefix t;
  container crate { config false; leaf x { type string; } } leaf single { type string; } })y";

// k: key, i: container or list, c: configuration, s: holds state, m: another module than above, n:
// its name is another's too, p: paths in its values, j: several JSON types, P, C: container without
// and with presence, h: has a choice.
std::string letters(const SchemaText& text) {
  std::string made;
  const auto add = [&made](bool is_so, char letter) {
    if (is_so) made += letter;
  };
  add(text.is_key, 'k');
  add(text.is_inner, 'i');
  add(text.is_config, 'c');
  add(text.holds_state, 's');
  add(text.changes_module, 'm');
  add(text.shares_name, 'n');
  add(text.may_have_prefixes, 'p');
  add(text.mixes_json_types, 'j');
  add(text.is_plain_container, 'P');
  add(text.is_presence_container, 'C');
  add(text.has_choice, 'h');
  return made;
}

TEST(SchemaTexts, SayWhatEachNodeIs) {
  const nexa_test::TempFolder folder;
  folder.write("openconfig-m.yang", kOpenConfig);
  folder.write("one.yang", kOne);
  folder.write("two.yang", kTwo);
  ASSERT_EQ(nexa_test::load_text(folder), "");
  number_schema();
  const SchemaTexts& texts = SchemaTexts::current();
  const auto of = [&texts](const char* path) {
    const lysc_node* const node = lys_find_path(kestrel::context(), nullptr, path, 0);
    EXPECT_NE(node, nullptr) << path;
    return node == nullptr ? SchemaText() : texts.of(node);
  };
  for (const auto& [path, wanted] : {
           std::pair("/openconfig-m:box", "icmP"),
           std::pair("/openconfig-m:box/lid", "c"),
           std::pair("/openconfig-m:box/one:lid", "cmn"),
           std::pair("/openconfig-m:box/one:label", "cm"),
           std::pair("/one:box", "icmnP"),
           std::pair("/one:box/own", "c"),
           std::pair("/one:only", "icmC"),
           std::pair("/one:only/x", "cp"),
           std::pair("/one:crate", "icsmnP"),
           std::pair("/one:crate/entry", "ics"),
           std::pair("/one:crate/entry/a", "kc"),
           std::pair("/one:crate/entry/b", "kcp"),
           std::pair("/one:crate/entry/r", "cp"),
           std::pair("/one:crate/entry/s", "s"),
           std::pair("/one:crate/way", "icPh"),
           std::pair("/one:crate/way/here", "c"),
           std::pair("/one:crate/way/there", "icP"),
           std::pair("/one:crate/u", "cpj"),
           std::pair("/one:crate/v", "c"),
           std::pair("/one:crate/w", "cj"),
           std::pair("/one:crate/n", "c"),
           std::pair("/one:crate/i", "c"),
           std::pair("/one:crate/l", "c"),
           std::pair("/one:crate/d", "c"),
           std::pair("/two:crate", "ismnP"),
           std::pair("/two:crate/x", "s"),
           std::pair("/two:single", "cm"),
       }) {
    EXPECT_EQ(letters(of(path)), wanted) << path;
  }
  const SchemaText label = of("/openconfig-m:box/one:label");
  EXPECT_EQ(label.name, "label");
  EXPECT_EQ(label.bare, ",\"label\":");
  EXPECT_EQ(label.qualified, ",\"one:label\":");
  EXPECT_EQ(label.path_name(false), "label");
  EXPECT_EQ(label.path_name(true), "one:label");
  EXPECT_EQ(label.xmlns, " xmlns=\"urn:one?a=1&amp;b=&lt;&quot;2&quot;>\"");
  EXPECT_EQ(of("/one:box/own").xmlns, label.xmlns);
  EXPECT_EQ(of("/two:single").xmlns, " xmlns=\"urn:two\"");
}

// Whoever keeps what belongs to a schema asks by its number whether that is still the one.
TEST(SchemaTexts, AreKeptWhileTheSchemaIsTheSame) {
  const std::string module = "module s { namespace \"urn:s\"; prefix s; leaf l { type string; } }";
  ASSERT_EQ(nexa_test::load_module("s", module), "");
  const std::size_t nodes = number_schema();
  EXPECT_GT(nodes, 0U);
  const std::uint64_t generation = schema_generation();
  const SchemaTexts* const texts = &SchemaTexts::current();
  EXPECT_EQ(number_schema(), nodes);
  EXPECT_EQ(schema_generation(), generation);
  EXPECT_EQ(&SchemaTexts::current(), texts);
  ASSERT_EQ(nexa_test::load_module("s", module), "");
  EXPECT_EQ(number_schema(), nodes);
  EXPECT_NE(schema_generation(), generation);
}

}  // namespace schema_texts_test
}  // namespace nexa::store
