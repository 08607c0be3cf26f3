// Loading, reading and comparing, for the tests of the translation layer over real YANG.
#include "support/translate_oracle.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "kestrel/loader.h"
#include "store/image/union_value.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

std::string last_message(const ly_ctx* context) {
  const char* message = ly_errmsg(context);
  return message != nullptr ? message : "";
}

std::string printed(const lyd_node* tree, LYD_FORMAT format) {
  char* text = nullptr;
  lyd_print_mem(&text, tree, format, LYD_PRINT_SHRINK | LYD_PRINT_WITHSIBLINGS);
  std::string copy = text != nullptr ? text : "";
  std::free(text);
  return copy;
}

}  // namespace

LoadedSet::LoadedSet(const std::vector<std::string>& folders,
                     const std::vector<std::string>& modules, std::string& error) {
  kestrel::LoadOptions options;
  options.search_dirs = folders;
  options.modules = modules;
  if (const auto problem = kestrel::load(options)) {
    error = problem->text();
    return;
  }
  ly_log_options(LY_LOSTORE_LAST);
  mapper_ = std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>();
  mapper_->populate();
  schema_ = std::make_unique<nexa::model::Schema>();
  tolerant_ = std::make_unique<UpdateDoor>(*mapper_, *schema_, nexa::model::Mode::kTolerant);
  strict_ = std::make_unique<UpdateDoor>(*mapper_, *schema_, nexa::model::Mode::kStrict);
}

LoadedSet::~LoadedSet() = default;

JsonVerdict read_json(const std::string& json) {
  JsonVerdict verdict;
  lyd_node* tree = nullptr;
  const ly_ctx* context = kestrel::context();
  verdict.accepted = lyd_parse_data_mem(context, json.c_str(), LYD_JSON,
                                        LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree) == LY_SUCCESS;
  verdict.tree.reset(tree);
  if (!verdict.accepted) verdict.reason = last_message(context);
  return verdict;
}

Tree read_config(const std::string& xml, std::string& reason) {
  constexpr std::string_view kOpen = "<config>";
  constexpr std::string_view kClose = "</config>";
  const std::size_t begin = xml.find(kOpen);
  const std::size_t end = xml.rfind(kClose);
  if (begin == std::string::npos || end == std::string::npos) {
    if (xml.find("<config/>") == std::string::npos) reason = "no config element: " + xml;
    return nullptr;
  }
  const std::string inner = xml.substr(begin + kOpen.size(), end - begin - kOpen.size());
  // Values that say their JSON type are read as the store reads them.
  nexa::store::number_schema();
  std::string storage;
  const std::string readable(nexa::store::readable_marks(inner, storage));
  lyd_node* tree = nullptr;
  const ly_ctx* context = kestrel::context();
  if (lyd_parse_data_mem(context, readable.c_str(), LYD_XML, LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0,
                         &tree) != LY_SUCCESS) {
    reason = last_message(context) + " in " + inner;
    return nullptr;
  }
  Tree read(tree);
  if (nexa::store::apply_marks(tree) != nullptr) {
    reason = "a value has no member of its JSON type in " + inner;
    return nullptr;
  }
  return read;
}

namespace {

lyd_node* instance(lyd_node* siblings, const lysc_node* schema) {
  while (siblings != nullptr && siblings->schema != schema) siblings = siblings->next;
  return siblings;
}

void add_twin(lyd_node* entry, const nexa::model::Schema& schema,
              const nexa::model::TargetKey& key) {
  lyd_node* parent = entry;
  for (const kestrel_cs_node* const record : key.twin) {
    const lysc_node* const wanted = schema.compiled(record);
    lyd_node* node = instance(lyd_child(parent), wanted);
    if (node == nullptr && wanted->nodetype == LYS_LEAF) {
      EXPECT_EQ(lyd_new_term(parent, wanted->module, wanted->name, key.given.c_str(), 0, &node),
                LY_SUCCESS);
    } else if (node == nullptr) {
      EXPECT_EQ(lyd_new_inner(parent, wanted->module, wanted->name, 0, &node), LY_SUCCESS);
    }
    parent = node;
  }
}

}  // namespace

void add_twins(lyd_node* tree, const nexa::model::Target& target) {
  lyd_node* siblings = tree;
  const auto chain = target.chain();
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
    lyd_node* const node = instance(siblings, chain[i]->schema);
    ASSERT_NE(node, nullptr);
    for (const nexa::model::TargetKey& key : chain[i]->keys) {
      if (!key.twin.empty()) add_twin(node, *target.model, key);
    }
    siblings = lyd_child(node);
  }
}

std::string difference(const lyd_node* expected, const lyd_node* actual) {
  if (expected == nullptr && actual == nullptr) return {};
  if (expected != nullptr && actual != nullptr &&
      lyd_compare_siblings(expected, actual, LYD_COMPARE_FULL_RECURSION) == LY_SUCCESS) {
    return {};
  }
  const std::string wanted = printed(expected, LYD_XML);
  const std::string found = printed(actual, LYD_XML);
  // An XPath remembers the encoding that it came in and so compares unequal, as does an entry whose
  // key says its JSON type; their texts decide.
  if (wanted == found) return {};
  return "expected: " + wanted + "\nactual:   " + found;
}

gnmi::Path path_of(const std::string& text) {
  nexa::translate::PathStringError error;
  const auto path = nexa::translate::parse_path_string(text, &error);
  EXPECT_TRUE(path.has_value()) << text << ": " << error.text();
  return path.value_or(gnmi::Path());
}

gnmi::Update update_of(const std::string& path, const std::string& json) {
  gnmi::Update update;
  *update.mutable_path() = path_of(path);
  update.mutable_val()->set_json_ietf_val(json);
  return update;
}

std::string read_text(const std::string& file) {
  const std::ifstream stream(file);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

}  // namespace nexa_test
