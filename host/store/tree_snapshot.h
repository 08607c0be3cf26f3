// What readers of the store get: a published tree, and operational data beside it.
#ifndef HOST_STORE_TREE_SNAPSHOT_H_
#define HOST_STORE_TREE_SNAPSHOT_H_

#include <memory>
#include <string>
#include <string_view>

#include "store/config_store.h"
#include "store/replica.h"

namespace nexa::host {

class TreeSnapshot : public Snapshot {
 public:
  TreeSnapshot(std::shared_ptr<Replica> replica, std::uint64_t number);
  ~TreeSnapshot() override;
  TreeSnapshot(const TreeSnapshot&) = delete;
  TreeSnapshot& operator=(const TreeSnapshot&) = delete;

  grpc::Status read(const Query& query, const StateTree* state,
                    const ValueSink& sink) const override;
  std::string xml() const override;
  std::uint64_t number() const override { return number_; }

 private:
  std::shared_ptr<Replica> replica_;
  std::uint64_t number_;
};

// ConfigStore::parse_state.
std::shared_ptr<const StateTree> parse_state_tree(std::string_view xml, std::string& error);

}  // namespace nexa::host

#endif  // HOST_STORE_TREE_SNAPSHOT_H_
