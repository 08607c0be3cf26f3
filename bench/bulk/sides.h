// The two sides of a comparison: a Set from the bytes of its request to the durable commit, as the
// server runs it, and libyang reading the same JSON with the same context.
#ifndef BENCH_BULK_SIDES_H_
#define BENCH_BULK_SIDES_H_

#include <libyang/libyang.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model/resolver.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "store/tree_store.h"
#include "translate/translate.h"

namespace nexa_bench {

// A folder below the build directory, which is on a real disk; removed with its owner, in the
// process that made it.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& path() const { return path_; }
  // A folder of this name in it.
  std::string data(const std::string& name = "data") const { return path_ + "/" + name; }

 private:
  std::string path_;
  int owner_;
};

// Loads the modules of a folder (all of them, or those named) into the process. Ends the process
// when they do not load.
void load_models(const std::string& folder, const std::vector<std::string>& modules = {});

enum class Kind : std::uint8_t { kUpdate, kReplace };

// The bytes of a SetRequest with `json` at `path` (string form, "/" is the root). An update of the
// root is one of each top-level member, because the root itself takes replaces alone; its texts
// hold no escapes.
std::string set_request(const std::string& json, const std::string& path = "/",
                        Kind kind = Kind::kUpdate);

// A store over the loaded models, and what a server keeps to answer Sets. Every failure ends the
// process with a message.
class StoreSide {
 public:
  struct Options {
    bool sync = true;
    std::uint32_t commits_per_snapshot = 1000;
  };

  StoreSide(const std::string& directory, const Options& options);
  explicit StoreSide(const std::string& directory) : StoreSide(directory, Options()) {}

  // One Set: message, checks, translation, commit, answer.
  void set(const std::string& request);
  // The same; ends the process when the Set made no commit, because nothing was to be changed.
  void change(const std::string& request);
  // The first half of it: everything up to the commit.
  std::vector<nexa::store::Edit> prepare(const std::string& request);

  // A full Get of the root: the bytes of its values.
  std::size_t read_all() const;
  // Whether the store serves this path.
  bool serves(const std::string& path) const;

  nexa::store::ConfigStore& store() { return *store_; }

 private:
  std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> mapper_;
  std::unique_ptr<nexa::model::Schema> schema_;
  std::unique_ptr<nexa::model::Resolver> resolver_;
  std::unique_ptr<nexa::translate::Translator> translator_;
  std::unique_ptr<nexa::store::ConfigStore> store_;
  std::uint64_t newest_ = 0;  // commit, as the last Set told
};

struct FreeTree {
  void operator()(lyd_node* tree) const { lyd_free_all(tree); }
};
using Tree = std::unique_ptr<lyd_node, FreeTree>;

// libyang's reading; ends the process when it refuses the text. Configuration alone: state data
// are not asked for what is mandatory in them.
Tree parse_and_validate(const std::string& json);
Tree parse_only(const std::string& json);

// libyang's share of an update: parse, merge into `tree`, validate the whole, print it.
void merge_and_print(Tree& tree, const std::string& json);

}  // namespace nexa_bench

#endif  // BENCH_BULK_SIDES_H_
