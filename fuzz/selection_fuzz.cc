// Paths as they come off the wire, on a configuration and on operational data: the schema's verdict
// is the search's, no node is found twice, every node is found again under the path that it was
// given, and its value is JSON.
#include "store/reading/selection.h"

#include <cjson/cJSON.h>

#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kestrel/loader.h"
#include "model/resolver.h"
#include "store/image/image_import.h"
#include "store/reading/json_value.h"
#include "translate/path_string.h"

namespace {

using nexa::model::Target;
using nexa::store::DataPart;
using nexa::store::ImageKind;
using nexa::store::ImageNode;
using nexa::store::ImagePtr;
using nexa::store::LeafLists;
using nexa::store::NodePair;
using nexa::store::TreePtr;
using nexa::text::Result;

constexpr char kConfig[] = R"(<device xmlns="urn:example:device"><name>d</name>
<limits><tiny>-1</tiny><flags>loud fast</flags><choice-of-types>7</choice-of-types></limits>
<port><name>a</name><medium xmlns:t="urn:example:types">t:copper</medium><tag>x</tag><tag>y</tag>
<route><prefix>p</prefix><metric>1</metric></route><route><prefix>p</prefix><metric>2</metric></route>
<radio xmlns="urn:example:radio"><power>1.5</power></radio></port><port><name>*</name></port>
<search>s</search><debug/><ssh><port>22</port></ssh><vendor><x>1</x></vendor></device>
<services xmlns="urn:example:device"><ntp>true</ntp></services>)";
constexpr char kState[] = R"(<device xmlns="urn:example:device"><name>e</name>
<port><name>a</name><speed>5</speed></port><port><name>b</name></port>
<event><at>1</at></event><event><at>2</at></event></device>)";

ImagePtr parsed(const char* xml) {
  lyd_node* tree = nullptr;
  if (lyd_parse_data_mem(kestrel::context(), xml, LYD_XML, LYD_PARSE_STRICT | LYD_PARSE_ONLY, 0,
                         &tree) != LY_SUCCESS) {
    std::abort();
  }
  const TreePtr owner(tree);
  return nexa::store::image_of_tree(tree);
}

struct Data {
  Data() {
    kestrel::LoadOptions options;
    options.search_dirs = {NEXA_MODELS_DIR};
    if (kestrel::load(options)) std::abort();
    nexa::store::number_schema();
    config = parsed(kConfig);
    state = parsed(kState);
  }
  ImagePtr config;
  ImagePtr state;
};

// A path in one word; aborts when the refusal is none that a client may see.
Result<Target> resolved(const gnmi::Path& path) {
  static const nexa::model::Schema schema;
  static const nexa::model::Resolver resolver(schema);
  Result<Target> target = resolver.resolve(gnmi::Path(), path, nexa::model::Purpose::kRead);
  if (target.ok()) return target;
  const grpc::StatusCode code = target.failure().code;
  const bool known = code == grpc::NOT_FOUND || code == grpc::INVALID_ARGUMENT ||
                     (code == grpc::UNIMPLEMENTED && !path.origin().empty());
  if (!known || target.failure().rule.empty()) std::abort();
  return target;
}

void check_value(const NodePair& node) {
  for (const DataPart part :
       {DataPart::kAll, DataPart::kConfig, DataPart::kState, DataPart::kOperational}) {
    std::string json = "[";
    if (!nexa::store::append_value(node, {part, true}, json)) {
      if (json != "[") std::abort();
      continue;
    }
    json += "]";
    const char* end = nullptr;
    cJSON* const value = cJSON_ParseWithLengthOpts(json.data(), json.size(), &end, 0);
    if (value == nullptr || end != json.data() + json.size()) std::abort();
    cJSON_Delete(value);
  }
}

// A key value "*" would name every entry.
bool names_one_node(const gnmi::Path& path) {
  for (const gnmi::PathElem& element : path.elem()) {
    for (const auto& [name, value] : element.key()) {
      if (value == "*") return false;
    }
  }
  return true;
}

void check_found_again(const Data& data, const NodePair& node, const gnmi::Path& path) {
  if (node.any() == nullptr || !names_one_node(path)) return;
  const Result<Target> target = resolved(path);
  if (!target.ok()) std::abort();
  bool is_found = false;
  const auto compare = [&](const NodePair& again, gnmi::Path&) {
    // Entries without keys have the path of the first one.
    if (again.config == node.config && again.state == node.state) is_found = true;
    const lysc_node* const schema = node.any()->schema();
    if (again.any()->schema() == schema && lysc_is_dup_inst_list(schema)) is_found = true;
  };
  nexa::store::select_nodes(
      target.value(), data.config.get(), data.state.get(), compare,
      node.any()->kind() == ImageKind::kGroup ? LeafLists::kWhole : LeafLists::kEntries);
  if (!is_found) std::abort();
}

void check_search(const Data& data, const Target& target, LeafLists mode) {
  // Equal leaves of several entries are one node of the image.
  std::set<std::tuple<std::string, const ImageNode*, const ImageNode*>> seen;
  const auto found = [&](const NodePair& node, gnmi::Path& concrete) {
    const std::string name = nexa::translate::format_path_string(concrete);
    if (!seen.insert({name, node.config, node.state}).second) std::abort();
    check_found_again(data, node, concrete);
    if (node.any() != nullptr) check_value(node);
  };
  nexa::store::select_nodes(target, data.config.get(), data.state.get(), found, mode);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Data trees;
  gnmi::Path path;
  if (!path.ParseFromArray(data, static_cast<int>(size))) return 0;
  const Result<Target> target = resolved(path);
  if (!target.ok()) return 0;
  check_search(trees, target.value(), LeafLists::kEntries);
  check_search(trees, target.value(), LeafLists::kWhole);
  return 0;
}
