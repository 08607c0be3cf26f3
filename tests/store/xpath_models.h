// The modules that expressions are evaluated over, and the words for what was found.
#ifndef TESTS_STORE_XPATH_MODELS_H_
#define TESTS_STORE_XPATH_MODELS_H_

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/loader.h"
#include "real/temp_folder.h"
#include "store/tree.h"
#include "store/validation/xpath_paths.h"

namespace nexa::store {

inline constexpr char kModelM[] = R"(module m { yang-version 1.1; namespace "urn:m"; prefix m;
  identity base;
  container c {
    leaf s { type string; }
    leaf d { type string; default "d"; }
    leaf n { type int32; }
    leaf-list ll { type string; }
    leaf-list ul { type union { type uint8; type string; } }
    list l { key k; leaf k { type string; } leaf v { type string; }
      container b { leaf x { type string; }
        list in { key "k1 k2"; leaf k1 { type string; } leaf k2 { type uint8; }
          leaf y { type string; } } } }
    leaf r { type leafref { path "../l/k"; } }
    leaf ri { type instance-identifier; }
    leaf e { type enumeration { enum one; } }
    leaf bits { type bits { bit one; } }
    leaf id { type identityref { base base; } }
    anydata any;
    container pc { presence p; leaf q { type string; } }
    choice ch { case one { leaf c1 { type string; } container c2 { leaf z { type string; } } }
      case two { choice deep { leaf c3 { type string; } leaf c4 { type string; } } } }
    container state { config false; leaf st { type string; } list log { leaf t { type string; } } }
  }
  leaf top { type string; } })";

inline constexpr char kModelA[] = R"(module a { yang-version 1.1; namespace "urn:a"; prefix a;
  import m { prefix mm; }
  augment "/mm:c/mm:l" { leaf v { type string; } container more { leaf deep { type string; } } }
  container ac { leaf al { type string; } } })";

// States an expression with the prefixes that the table uses.
inline constexpr char kModelP[] = R"(module p { yang-version 1.1; namespace "urn:p"; prefix p;
  import m { prefix m; } import a { prefix a; }
  leaf probe { type string; must "/m:top or /a:ac"; } })";

inline std::string load_xpath_models() {
  const nexa_test::TempFolder folder;
  folder.write("m.yang", kModelM);
  folder.write("a.yang", kModelA);
  folder.write("p.yang", kModelP);
  return nexa_test::load_text(folder);
}

// A data path from the top, "/" for the root. The module m goes without saying.
inline std::string words(const lysc_node* node) {
  if (node == nullptr) return "/";
  std::string text;
  for (; node != nullptr; node = lysc_data_parent(node)) {
    std::string step = node->name;
    if (node->module->name != std::string_view("m"))
      step = std::string(node->module->name) + ":" + step;
    text = text.empty() ? step : step + "/" + text;
  }
  return text;
}

inline std::string words(const std::vector<const lysc_node*>& nodes) {
  std::vector<std::string> names;
  for (const lysc_node* const node : nodes) names.push_back(words(node));
  std::sort(names.begin(), names.end());
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text;
}

inline const lysc_node* node_at(const std::string& path) {
  return path == "/" ? nullptr : lys_find_path(kestrel::context(), nullptr, path.c_str(), 0);
}

inline ExpressionSite site_at(const std::string& path) {
  ExpressionSite site;
  site.context = kestrel::context();
  site.node = node_at(path);
  site.module = ly_ctx_get_module_implemented(kestrel::context(), "m");
  site.prefixes = lysc_node_musts(node_at("/p:probe"))[0].prefixes;
  return site;
}

}  // namespace nexa::store

#endif  // TESTS_STORE_XPATH_MODELS_H_
