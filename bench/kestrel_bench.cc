// The schema library: the cost of loading OpenConfig and filling the name maps, against libyang
// loading the same modules for itself; and look-ups, which must not grow with the number of
// children.
#include <benchmark/benchmark.h>
#include <grpc/support/log.h>
#include <libyang/libyang.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "kestrel/loader.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "real/yang_folders.h"

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct ContextDeleter {
  void operator()(ly_ctx* context) const { ly_ctx_destroy(context); }
};
using Context = std::unique_ptr<ly_ctx, ContextDeleter>;

// What libyang needs to have the same modules compiled: the options that the schema library uses,
// the names known in advance, and one compilation at the end.
Context load_with_libyang(const std::string& folder, const std::vector<std::string>& modules) {
  ly_ctx* context = nullptr;
  const std::uint16_t options = LY_CTX_REF_IMPLEMENTED | LY_CTX_EXPLICIT_COMPILE |
                                LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIR_CWD |
                                LY_CTX_ENABLE_IMP_FEATURES;
  if (ly_ctx_new(folder.c_str(), options, &context) != LY_SUCCESS) return nullptr;
  Context result(context);
  const char* all_features[] = {"*", nullptr};
  for (const std::string& module : modules) {
    if (ly_ctx_load_module(context, module.c_str(), nullptr, all_features) == nullptr) {
      return nullptr;
    }
  }
  return ly_ctx_compile(context) == LY_SUCCESS ? std::move(result) : nullptr;
}

void drop_libyang_message(LY_LOG_LEVEL, const char*, const char*) {}

// The names of the modules in the order in which the schema library asks for them.
std::vector<std::string> module_names(const kestrel::LoadOptions& options) {
  std::vector<std::string> names;
  kestrel::LoadOptions noting = options;
  noting.progress = [&](std::size_t, std::size_t, std::string_view name) {
    names.emplace_back(name);
  };
  if (kestrel::load(noting)) names.clear();
  return names;
}

// Alternates both ways of loading; keeps what either has made, so that neither gets used memory
// back.
void BM_LoadOpenConfig(benchmark::State& state) {
  const nexa_test::YangFolder folder = nexa_test::openconfig_folder();
  if (!nexa_test::has_modules(folder)) {
    return state.SkipWithError(nexa_test::absent(folder).c_str());
  }
  ly_log_level(LY_LLERR);
  ly_set_log_clb(&drop_libyang_message, 1);
  kestrel::LoadOptions options;
  options.search_dirs = {folder.path};
  const std::vector<std::string> modules = module_names(options);
  std::vector<Context> kept;
  double libyang = 0;
  double load = 0;
  double populate = 0;
  for (auto _ : state) {
    Clock::time_point start = Clock::now();
    kept.push_back(load_with_libyang(folder.path, modules));
    libyang += seconds_since(start);
    if (kept.back() == nullptr) return state.SkipWithError("libyang refuses a module");

    start = Clock::now();
    const bool failed = kestrel::load(options).has_value();
    load += seconds_since(start);
    nexa::ServiceKestrelNamespaceMapperImpl mapper;
    const Clock::time_point middle = Clock::now();
    benchmark::DoNotOptimize(mapper.populate());
    populate += seconds_since(middle);
    state.SetIterationTime(seconds_since(start));
    if (failed) return state.SkipWithError("the schema library refuses a module");
  }
  const auto rounds = static_cast<double>(state.iterations());
  state.counters["libyang_ms"] = libyang / rounds * 1e3;
  state.counters["load_ms"] = load / rounds * 1e3;
  state.counters["populate_ms"] = populate / rounds * 1e3;
  state.counters["ratio"] = (load + populate) / libyang;  // at most 1.5
  state.counters["modules"] = static_cast<double>(modules.size());
  state.counters["nodes"] = static_cast<double>(kestrel::node_count());
}

// A schema of one container with so many leaves, and what is looked up in it, in random order.
class WideSchema {
 public:
  explicit WideSchema(std::int64_t children) {
    std::string folder = (std::filesystem::temp_directory_path() / "nexa-bench-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) return;
    write_module(folder + "/wide.yang", children);
    kestrel::LoadOptions options;
    options.search_dirs = {folder};
    const bool failed = kestrel::load(options).has_value();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    if (failed) return;
    parent_ = kestrel_find_cs_root(kestrel_str2hash("urn:wide"));
    for (kestrel_cs_node* child = parent_->children; child != nullptr; child = child->next) {
      nodes_.push_back(child);
    }
    std::shuffle(nodes_.begin(), nodes_.end(), std::mt19937(1));
    for (const kestrel_cs_node* node : nodes_) names_.push_back(kestrel_hash2str(node->tag));
  }

  const kestrel_cs_node* parent() const { return parent_; }
  const std::vector<kestrel_cs_node*>& nodes() const { return nodes_; }
  const std::vector<const char*>& names() const { return names_; }

 private:
  static void write_module(const std::string& file, std::int64_t children) {
    std::ofstream out(file);
    out << "module wide { namespace \"urn:wide\"; prefix w; container c {";
    for (std::int64_t i = 0; i < children; ++i) out << " leaf name-" << i << " { type string; }";
    out << " } }";
  }

  const kestrel_cs_node* parent_ = nullptr;
  std::vector<kestrel_cs_node*> nodes_;
  std::vector<const char*> names_;
};

// Calls `look_up(i)` for every child's index, over and over.
template <class LookUp>
void run_look_ups(benchmark::State& state, const WideSchema& schema, LookUp look_up) {
  if (schema.nodes().size() != static_cast<std::size_t>(state.range(0))) {
    return state.SkipWithError("the schema was not loaded");
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(look_up(i));
    if (++i == schema.nodes().size()) i = 0;
  }
}

void BM_Hash2Str(benchmark::State& state) {
  const WideSchema schema(state.range(0));
  std::vector<std::uint32_t> tags;
  for (const kestrel_cs_node* node : schema.nodes()) tags.push_back(node->tag);
  run_look_ups(state, schema, [&](std::size_t i) { return kestrel_hash2str(tags[i]); });
}

void BM_Str2Hash(benchmark::State& state) {
  const WideSchema schema(state.range(0));
  run_look_ups(state, schema, [&](std::size_t i) { return kestrel_str2hash(schema.names()[i]); });
}

void BM_FindChild(benchmark::State& state) {
  const WideSchema schema(state.range(0));
  const std::uint32_t ns = kestrel_str2hash("urn:wide");
  std::vector<std::uint32_t> tags;
  for (const kestrel_cs_node* node : schema.nodes()) tags.push_back(node->tag);
  run_look_ups(state, schema, [&](std::size_t i) {
    return kestrel_find_cs_node_child(schema.parent(), tags[i], ns);
  });
}

BENCHMARK(BM_LoadOpenConfig)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Hash2Str)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_Str2Hash)->Arg(10)->Arg(1000)->Arg(10000);
BENCHMARK(BM_FindChild)->Arg(10)->Arg(1000)->Arg(10000);

void drop_log_line(gpr_log_func_args*) {}

}  // namespace

int main(int argc, char** argv) {
  gpr_set_log_function(&drop_log_line);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
