// What tests of providers share: a schema, and what libyang makes of a provider's document.
#ifndef TESTS_STATE_STATE_DOCUMENTS_H_
#define TESTS_STATE_STATE_DOCUMENTS_H_

#include <libyang/libyang.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/loader.h"
#include "real/yang_folders.h"
#include "state/state_provider.h"

namespace nexa_test {

struct FreeTree {
  void operator()(lyd_node* tree) const { lyd_free_all(tree); }
};
using Tree = std::unique_ptr<lyd_node, FreeTree>;

// Loads modules of these folders; the fault, or nothing.
inline std::string load_from(std::vector<std::string> folders, std::vector<std::string> modules,
                             std::map<std::string, std::vector<std::string>> features = {}) {
  kestrel::LoadOptions options;
  options.search_dirs = std::move(folders);
  options.modules = std::move(modules);
  options.features = std::move(features);
  const auto error = kestrel::load(options);
  return error ? error->text() : std::string();
}

inline std::string load(std::vector<std::string> modules,
                        std::map<std::string, std::vector<std::string>> features = {}) {
  return load_from({ietf_nmda_folder().path, ietf_folder().path}, std::move(modules),
                   std::move(features));
}

// What libyang, at its strictest, makes of the text: JSON, or the message of the refusal.
inline std::string read_strictly(const std::string& xml) {
  lyd_node* tree = nullptr;
  const LY_ERR read = lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                                         LYD_PARSE_STRICT | LYD_PARSE_ONLY, 0, &tree);
  const Tree owner(tree);
  if (read != LY_SUCCESS) return std::string("refused: ") + ly_errmsg(kestrel::context());
  char* text = nullptr;
  lyd_print_mem(&text, tree, LYD_JSON, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK);
  const std::string json = text == nullptr ? "" : text;
  std::free(text);
  return json;
}

inline std::string xml_of(nexa::state::StateProvider& provider) {
  std::string xml;
  provider.append_xml(xml);
  return xml;
}

}  // namespace nexa_test

#endif  // TESTS_STATE_STATE_DOCUMENTS_H_
