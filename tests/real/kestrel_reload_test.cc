// What happens to a schema when another one is loaded, or fails to.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "real/schema_text.h"
#include "real/temp_folder.h"

namespace nexa_test {
namespace kestrel_reload_test {

using Names = std::vector<std::string>;

constexpr char kFirst[] = R"(module first { namespace "urn:first"; prefix f;
  container one { list l { key k; leaf k { type string; } leaf shared { type string; } } } })";
constexpr char kSecond[] = R"(module second { namespace "urn:second"; prefix s;
  container two { leaf shared { type string; } } })";

TEST(KestrelReload, TheNewSchemaReplacesTheOldOne) {
  ASSERT_EQ(load_module("first", kFirst), "");
  const ly_ctx* const before = kestrel::context();
  ASSERT_EQ(load_module("second", kSecond), "");
  EXPECT_EQ(listed_modules(), (Names{"second"}));
  EXPECT_EQ(kestrel::node_count(), 2U);
  EXPECT_NE(kestrel::context(), before);
  EXPECT_NE(find_node("second", "two/shared"), nullptr);
  EXPECT_EQ(kestrel_str2hash("one"), 0U);
  EXPECT_EQ(kestrel_str2hash("urn:first"), 0U);
}

TEST(KestrelReload, RecordsAndStringsOfTheOldSchemaStayValid) {
  ASSERT_EQ(load_module("first", kFirst), "");
  KestrelNsEntry* list = nullptr;
  ASSERT_EQ(kestrel_get_nslist(&list), 1);
  const kestrel_cs_node* const one = find_node("first", "one");
  const kestrel_cs_node* const entry = one->children;
  const std::uint32_t ns = entry->ns;
  const char* const name = kestrel_hash2str(entry->tag);
  const std::uint32_t shared = kestrel_str2hash("shared");
  ASSERT_EQ(load_module("second", kSecond), "");

  EXPECT_STREQ(list->module, "first");
  EXPECT_STREQ(name, "l");
  EXPECT_EQ(text_of(entry->tag), "l");
  EXPECT_EQ(text_of(ns), "urn:first");
  EXPECT_EQ(key_names(*entry), (Names{"k"}));
  EXPECT_EQ(kestrel_find_cs_node_child(one, entry->tag, ns), entry);
  EXPECT_NE(kestrel_find_cs_node_child(entry, shared, ns), nullptr);
  EXPECT_EQ(kestrel_find_cs_root(ns), nullptr);
}

TEST(KestrelReload, AStringKeepsItsHash) {
  ASSERT_EQ(load_module("first", kFirst), "");
  const std::uint32_t shared = kestrel_str2hash("shared");
  const std::uint32_t one = kestrel_str2hash("one");
  ASSERT_EQ(load_module("second", kSecond), "");
  EXPECT_EQ(kestrel_str2hash("shared"), shared);
  ASSERT_EQ(load_module("first", kFirst), "");
  EXPECT_EQ(kestrel_str2hash("one"), one);
}

TEST(KestrelReload, AFailureLeavesTheSchemaInPlace) {
  ASSERT_EQ(load_module("first", kFirst), "");
  const ly_ctx* const before = kestrel::context();
  KestrelNsEntry* list = nullptr;
  ASSERT_EQ(kestrel_get_nslist(&list), 1);
  const kestrel_cs_node* const one = find_node("first", "one");

  EXPECT_NE(load_module("broken", "module broken { leaf new-name"), "");

  KestrelNsEntry* after = nullptr;
  EXPECT_EQ(kestrel_get_nslist(&after), 1);
  EXPECT_EQ(after, list);
  EXPECT_EQ(kestrel::context(), before);
  EXPECT_EQ(find_node("first", "one"), one);
  EXPECT_EQ(kestrel_str2hash("new-name"), 0U);
  EXPECT_EQ(kestrel::node_count(), 4U);
}

TEST(KestrelReload, AFailureWhileCompilingLeavesTheSchemaInPlace) {
  ASSERT_EQ(load_module("first", kFirst), "");
  const kestrel_cs_node* const one = find_node("first", "one");
  EXPECT_NE(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    container fine; leaf x { type leafref { path "../nowhere"; } } })"),
            "");
  EXPECT_EQ(find_node("first", "one"), one);
  EXPECT_EQ(listed_modules(), (Names{"first"}));
}

TEST(KestrelReload, NoFoldersAndNoModulesMakeAnEmptySchema) {
  ASSERT_EQ(load_module("first", kFirst), "");
  ASSERT_EQ(load_text(kestrel::LoadOptions()), "");
  KestrelNsEntry* list = reinterpret_cast<KestrelNsEntry*>(&list);
  EXPECT_EQ(kestrel_get_nslist(&list), 0);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(kestrel_str2hash("one"), 0U);
  EXPECT_EQ(kestrel::node_count(), 0U);
  EXPECT_NE(kestrel::context(), nullptr);
}

TEST(KestrelReload, ProgressIsToldModuleByModule) {
  const TempFolder folder;
  folder.write("first.yang", kFirst);
  folder.write("second.yang", kSecond);
  kestrel::LoadOptions options = options_for(folder);
  std::vector<std::string> steps;
  options.progress = [&](std::size_t done, std::size_t total, std::string_view module) {
    steps.push_back(std::to_string(done) + "/" + std::to_string(total) + " " + std::string(module));
  };
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(steps, (Names{"1/2 first", "2/2 second"}));
}

}  // namespace kestrel_reload_test
}  // namespace nexa_test
