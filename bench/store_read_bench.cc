// What a reader of the store pays: one leaf, a thousand leaves and the whole configuration, at ten
// to ten thousand interfaces, with libyang's printers over the same tree as the peer.
#include <benchmark/benchmark.h>
#include <libyang/libyang.h>

#include <map>
#include <string>

#include "kestrel/loader.h"
#include "model/resolver.h"
#include "store/image/image_import.h"
#include "store/image/image_xml.h"
#include "store/reading/json_value.h"
#include "store/reading/typed_value.h"

namespace {

using nexa::store::DataPart;
using nexa::store::ImageInner;
using nexa::store::ImagePtr;
using nexa::store::JsonForm;
using nexa::store::LeafLists;
using nexa::store::NodePair;
using nexa::store::TextPtr;
using nexa::store::TreePtr;

constexpr JsonForm kIetf{DataPart::kAll, true};

std::string interfaces_xml(std::int64_t count, bool is_state) {
  std::string xml = "<device xmlns=\"urn:example:device\">";
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    xml += "<port><name>port" + number + "</name>";
    xml += is_state ? "<speed>" + number + "</speed></port>"
                    : "<medium xmlns:t=\"urn:example:types\">t:copper</medium><tag>a</tag><route>"
                      "<prefix>192.0.2.0/24</prefix><metric>" +
                          number +
                          "</metric><next-hop>192.0.2.1</next-hop></route>"
                          "<radio xmlns=\"urn:example:radio\"><channel>7</channel></radio></port>";
  }
  return xml + "</device>";
}

// One tree for each size, made once.
const lyd_node* libyang_tree(std::int64_t count, bool is_state = false) {
  static const bool loaded = [] {
    kestrel::LoadOptions options;
    options.search_dirs = {NEXA_MODELS_DIR};
    return !kestrel::load(options);
  }();
  static std::map<std::pair<std::int64_t, bool>, TreePtr> trees;
  TreePtr& tree = trees[{count, is_state}];
  if (loaded && tree == nullptr) {
    lyd_node* parsed = nullptr;
    lyd_parse_data_mem(kestrel::context(), interfaces_xml(count, is_state).c_str(), LYD_XML,
                       LYD_PARSE_STRICT | LYD_PARSE_ONLY, 0, &parsed);
    tree.reset(parsed);
  }
  return tree.get();
}

const ImageInner* tree_of(std::int64_t count, bool is_state = false) {
  static std::map<std::pair<std::int64_t, bool>, ImagePtr> images;
  ImagePtr& image = images[{count, is_state}];
  if (!image) {
    const lyd_node* const tree = libyang_tree(count, is_state);
    nexa::store::number_schema();
    image = nexa::store::image_of_tree(tree);
  }
  return image.get();
}

gnmi::Path leaf_path(std::int64_t port) {
  gnmi::Path path;
  path.add_elem()->set_name("example-device:device");
  gnmi::PathElem& entry = *path.add_elem();
  entry.set_name("port");
  (*entry.mutable_key())["name"] = "port" + std::to_string(port);
  path.add_elem()->set_name("medium");
  return path;
}

const nexa::model::Resolver& resolver() {
  static const nexa::model::Schema schema;
  static const nexa::model::Resolver resolver(schema);
  return resolver;
}

std::size_t read_values(const gnmi::Path& path, const ImageInner* tree) {
  const auto target = resolver().resolve(gnmi::Path(), path, nexa::model::Purpose::kRead);
  if (!target.ok()) return 0;
  std::size_t bytes = 0;
  const auto take = [&](const NodePair& node, gnmi::Path&) {
    std::string json;
    nexa::store::append_value(node, kIetf, json);
    bytes += json.size();
  };
  nexa::store::select_nodes(target.value(), tree, nullptr, take, LeafLists::kWhole);
  return bytes;
}

void BM_OneLeaf(benchmark::State& state) {
  const ImageInner* tree = tree_of(state.range(0));
  const gnmi::Path path = leaf_path(state.range(0) / 2);
  for (auto _ : state) {
    if (read_values(path, tree) == 0) return state.SkipWithError("not found");
  }
}

void BM_ThousandLeavesByPath(benchmark::State& state) {
  const ImageInner* tree = tree_of(state.range(0));
  std::vector<gnmi::Path> paths;
  for (int i = 0; i < 1000; ++i) paths.push_back(leaf_path(i % state.range(0)));
  for (auto _ : state) {
    for (const gnmi::Path& path : paths) {
      if (read_values(path, tree) == 0) return state.SkipWithError("not found");
    }
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}

template <gnmi::Encoding Encoded>
void BM_EveryLeafWithItsPath(benchmark::State& state) {
  const ImageInner* tree = tree_of(state.range(0));
  std::int64_t leaves = 0;
  for (auto _ : state) {
    nexa::store::for_each_leaf_of_tree({tree, nullptr}, {DataPart::kAll, Encoded},
                                       [&](gnmi::Path&, gnmi::TypedValue&) { ++leaves; });
  }
  state.SetItemsProcessed(leaves);
}

void BM_WholeTree(benchmark::State& state) {
  const ImageInner* tree = tree_of(state.range(0));
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string json;
    nexa::store::append_tree({tree, nullptr}, kIetf, json);
    bytes += json.size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void BM_WholeTreeWithState(benchmark::State& state) {
  const ImageInner* config = tree_of(state.range(0));
  const ImageInner* operational = tree_of(state.range(0), true);
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string json;
    nexa::store::append_tree({config, operational}, kIetf, json);
    bytes += json.size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void BM_WholeTreeAsXml(benchmark::State& state) {
  const ImageInner* tree = tree_of(state.range(0));
  std::size_t bytes = 0;
  for (auto _ : state) bytes += nexa::store::configuration_xml(*tree).size();
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void print_by_libyang(benchmark::State& state, LYD_FORMAT format) {
  const lyd_node* tree = libyang_tree(state.range(0));
  std::size_t bytes = 0;
  for (auto _ : state) {
    char* text = nullptr;
    lyd_print_mem(&text, tree, format, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK);
    const TextPtr owner(text);
    bytes += std::char_traits<char>::length(text);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void BM_WholeTreeByLibyang(benchmark::State& state) { print_by_libyang(state, LYD_JSON); }
void BM_WholeTreeAsXmlByLibyang(benchmark::State& state) { print_by_libyang(state, LYD_XML); }

BENCHMARK(BM_OneLeaf)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_ThousandLeavesByPath)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_EveryLeafWithItsPath<gnmi::JSON_IETF>)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_EveryLeafWithItsPath<gnmi::PROTO>)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_WholeTree)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_WholeTreeWithState)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_WholeTreeByLibyang)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_WholeTreeAsXml)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_WholeTreeAsXmlByLibyang)->Arg(10)->Arg(1000)->Arg(10000);

}  // namespace

BENCHMARK_MAIN();
