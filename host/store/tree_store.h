// The embedded engine: images of the configuration in memory over a log of changes in SQLite.
#ifndef HOST_STORE_TREE_STORE_H_
#define HOST_STORE_TREE_STORE_H_

#include <functional>
#include <memory>
#include <string>

#include "model/state_mirror.h"
#include "store/config_store.h"

namespace nexa::store {

struct TreeStoreOptions {
  std::string directory;                      // made when it is not there; one process at a time
  std::uint32_t commits_per_snapshot = 1000;  // usual distance of snapshots of small configurations
  std::uint64_t history_limit = 100000;       // commits kept beyond the newest snapshot; 0: all
  // Beside a process that works on the directory: nothing is changed in it, and a commit that would
  // change something ends once it was approved. FAILED_PRECONDITION then.
  bool read_only = false;
  bool sync = true;  // false takes the disk's sync out: for measurements, never for data
  // What the documents of one commit may hold; 0: any number.
  std::size_t max_nodes = 0;
  std::size_t max_bytes = 0;
  // With it, snapshots show what is configured in operational data as well, unless that has the
  // values itself. Outlives the store and its snapshots; null: they do not.
  const model::StateMirror* mirror = nullptr;
  // Hears, in one line, of what went wrong beside the commits. Any thread; null: nobody.
  std::function<void(const std::string& line)> warn;
};

// Opens the data directory over the loaded schema (kestrel::load) and replays it. Fails, naming the
// file and what to do, when the directory cannot be used: in use by another process, damaged,
// foreign, from another schema whose modules do not have the stored nodes. A configuration that
// breaks a rule is opened: health() tells the rule, and the next commit has to mend it. So is a
// directory that cannot be written: commits are refused meanwhile. `notes` receives lines worth a
// log: what was replayed, that the schema changed.
text::Result<std::unique_ptr<ConfigStore>> open_tree_store(
    const TreeStoreOptions& options, std::vector<std::string>* notes = nullptr);

}  // namespace nexa::store

#endif  // HOST_STORE_TREE_STORE_H_
