// What do readers and watchers see? The newest configuration, what is known of its health, and each
// commit as it becomes visible.
#ifndef HOST_STORE_PUBLICATION_H_
#define HOST_STORE_PUBLICATION_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "store/config_store.h"
#include "store/tree_snapshot.h"

namespace nexa::store {

// Any thread. Nobody waits here for longer than watchers take.
class Publication {
 public:
  // Before all others.
  void start(std::shared_ptr<const TreeSnapshot> first, StoreHealth health);

  std::shared_ptr<const TreeSnapshot> current() const;
  // Without what the log knows of the disk.
  StoreHealth health() const;

  // A judgement ended. `deaths`: how many libyang did not survive so far; `whole`: every rule was
  // asked.
  void judged(std::uint64_t deaths, bool whole);

  // ConfigStore::verified().
  void verified(std::uint64_t number, const std::string& violation);
  // Whether the configuration after this commit is known to be valid as a whole.
  bool is_verified(std::uint64_t number) const;

  // What is known of a commit beside what it left.
  struct Commit {
    std::int64_t time_ns = 0;
    std::string confirm_id;  // of the commit that waits or waited
    bool whole = false;      // every rule was asked
  };

  // A commit that is durable becomes visible, and watchers hear of it.
  void publish(std::shared_ptr<const TreeSnapshot> snapshot, const Commit& commit);

  // ConfigStore::watch() and unwatch().
  std::shared_ptr<const Snapshot> watch(CommitWatcher& watcher);
  void unwatch(CommitWatcher& watcher);

 private:
  std::mutex watching_;  // taken before `mutex_`; a commit is published and told under it
  std::vector<CommitWatcher*> watchers_;

  mutable std::mutex mutex_;  // holds for the rest
  std::shared_ptr<const TreeSnapshot> current_;
  StoreHealth health_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_PUBLICATION_H_
