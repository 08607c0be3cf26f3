// Digestion of paths with keys: a warm one of nine elements against libyang's look-up and against
// copying it, then all paths of a working set that the cache holds, and of one ten times its
// capacity.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/kestrel.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/libyang_find_path.h"
#include "support/workload.h"

namespace {

using gnmi::rfc7951::KcnPathPointer;
using nexa::Rfc7951MapperToken;
using Mapper = nexa::ServiceKestrelNamespaceMapperImpl;

constexpr std::size_t kCacheCapacity = 256;

constexpr const char* kNames[] = {"oc-netinst:network-instances",
                                  "network-instance",
                                  "protocols",
                                  "protocol",
                                  "bgp",
                                  "neighbors",
                                  "neighbor",
                                  "config",
                                  "peer-as"};
constexpr char kLibyangPath[] =
    "/openconfig-network-instance:network-instances/network-instance/protocols/protocol/bgp/"
    "neighbors/neighbor/config/peer-as";

gnmi::Path nine_elements() {
  gnmi::Path path;
  for (const char* name : kNames) path.add_elem()->set_name(name);
  (*path.mutable_elem(1)->mutable_key())["name"] = "default";
  (*path.mutable_elem(3)->mutable_key())["identifier"] = "BGP";
  (*path.mutable_elem(3)->mutable_key())["name"] = "bgp";
  (*path.mutable_elem(6)->mutable_key())["neighbor-address"] = "192.0.2.1";
  return path;
}

// Collects paths to nodes without children, depth first, each of which brings at least one new
// cache key, until they have `wanted` keys together.
class PathSet {
 public:
  PathSet(const Mapper& mapper, std::size_t wanted) : mapper_(mapper), wanted_(wanted) {
    for (int i = 0; i < mapper.nsCount_; ++i) {
      for (const kestrel_cs_node* root = kestrel_find_cs_root(mapper.nsList_[i].hash);
           root != nullptr; root = root->next) {
        if ((root->flags & KESTREL_FLAG_META_DATA) == 0 && root->children != nullptr) walk(*root);
      }
    }
  }

  std::vector<gnmi::Path> paths;
  std::size_t key_count() const { return keys_.size(); }

 private:
  void walk(const kestrel_cs_node& node) {
    if (keys_.size() >= wanted_) return;
    chain_.push_back(&node);
    if (node.children == nullptr) add();
    for (const kestrel_cs_node* child = node.children; child != nullptr; child = child->next) {
      walk(*child);
    }
    chain_.pop_back();
  }

  void add() {
    const std::size_t before = keys_.size();
    for (std::size_t depth = 0; depth < chain_.size(); ++depth) {
      keys_.insert({{chain_[0]->ns, depth}, chain_[depth]->tag});
    }
    if (keys_.size() == before) return;
    gnmi::Path& path = paths.emplace_back();
    for (const kestrel_cs_node* node : chain_) {
      const std::string name = kestrel_hash2str(node->tag);
      const bool changes = node->parent == nullptr || node->parent->ns != node->ns;
      gnmi::PathElem* element = path.add_elem();
      element->set_name(changes ? mapper_.ympPrefixFromNs_(kestrel_hash2str(node->ns)) + ":" + name
                                : name);
      for (const std::uint32_t* key = node->keys; key != nullptr && *key != 0; ++key) {
        (*element->mutable_key())[kestrel_hash2str(*key)] = "value";
      }
    }
  }

  const Mapper& mapper_;
  std::size_t wanted_;
  std::vector<const kestrel_cs_node*> chain_;
  std::set<std::pair<std::pair<std::uint32_t, std::size_t>, std::uint32_t>> keys_;
};

void digest(benchmark::State& state, Mapper& mapper, const std::vector<gnmi::Path>& paths) {
  const std::shared_ptr<Rfc7951MapperToken> token = mapper.newToken();
  std::size_t next = 0;
  std::int64_t elements = 0;
  for (auto _ : state) {
    KcnPathPointer pointer;
    gnmi::Path out;
    const grpc::Status status =
        token->digestPath<Mapper::SchemaIf, KcnPathPointer, &Rfc7951MapperToken::digestPathElement>(
            mapper.schemaifPtr_, paths[next], pointer, out);
    if (!status.ok()) {
      state.SkipWithError(status.error_message().c_str());
      return;
    }
    benchmark::DoNotOptimize(out);
    elements += out.elem_size();
    if (++next == paths.size()) next = 0;
  }
  state.counters["per_element"] = benchmark::Counter(
      static_cast<double>(elements), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void digest_keys(benchmark::State& state, std::size_t wanted) {
  Mapper* mapper = nexa_bench::openconfig_mapper();
  if (mapper == nullptr) return state.SkipWithError("no OpenConfig modules");
  const PathSet set(*mapper, wanted);
  state.SetLabel(std::to_string(set.paths.size()) + " paths, " + std::to_string(set.key_count()) +
                 " keys");
  digest(state, *mapper, set.paths);
}

void BM_LibyangFindPath(benchmark::State& state) {
  nexa_bench::libyang_find_path(state, kLibyangPath);
}

// The floor: what building the external path costs without any look-up.
void BM_CopyPath(benchmark::State& state) {
  const gnmi::Path path = nine_elements();
  for (auto _ : state) {
    gnmi::Path out;
    for (const gnmi::PathElem& element : path.elem()) {
      gnmi::PathElem* added = out.add_elem();
      added->set_name(element.name());
      for (const auto& [key, value] : element.key()) (*added->mutable_key())[key] = value;
    }
    benchmark::DoNotOptimize(out);
  }
}

void BM_DigestOnePath(benchmark::State& state) {
  Mapper* mapper = nexa_bench::openconfig_mapper();
  if (mapper == nullptr) return state.SkipWithError("no OpenConfig modules");
  digest(state, *mapper, {nine_elements()});
}

void BM_DigestWithinTheCache(benchmark::State& state) {
  digest_keys(state, kCacheCapacity * 3 / 4);
}

void BM_DigestTenTimesTheCache(benchmark::State& state) { digest_keys(state, kCacheCapacity * 10); }

BENCHMARK(BM_LibyangFindPath);
BENCHMARK(BM_CopyPath);
BENCHMARK(BM_DigestOnePath);
BENCHMARK(BM_DigestWithinTheCache);
BENCHMARK(BM_DigestTenTimesTheCache);

}  // namespace

BENCHMARK_MAIN();
