// A store whose content and verdicts a test chooses: leaves by their path, JSON texts as values, no
// schema but a set of names. The value of an inner node is an object of "relative/path": value.
#ifndef TESTS_SERVER_SUPPORT_FAKE_STORE_H_
#define TESTS_SERVER_SUPPORT_FAKE_STORE_H_

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "store/config_store.h"

namespace nexa_test {

using nexa::store::CommitRecord;
using nexa::store::CommitRequest;
using nexa::store::CommitResult;

struct FakeLeaf {
  gnmi::Path path;
  std::string json;
  bool state = false;
};

// By path string, names without modules.
using FakeLeaves = std::map<std::string, FakeLeaf>;

class FakeStore : public nexa::store::ConfigStore {
 public:
  FakeStore();

  void put(const std::string& path, const std::string& json, bool state = false);
  void remove(const std::string& path);

  // Names a schema path: "/device/port/speed". Its ancestors are known too.
  void know(const std::string& path);

  // What commit() gives; OK with the next number when not set. Set before calls are made.
  std::function<nexa::store::CommitResult(const nexa::store::CommitRequest&)> on_commit;
  // Called by each read of a snapshot. Set before calls are made.
  std::function<void()> on_read;

  std::vector<nexa::store::CommitRequest> commits() const;
  int parsed_states() const;
  int snapshots_taken() const;

  nexa::store::CommitResult commit(const nexa::store::CommitRequest& request) override;
  std::shared_ptr<const nexa::store::Snapshot> snapshot() const override;
  // Lines "path=json" in place of XML; an error when the text has the word "broken".
  nexa::text::Result<std::shared_ptr<const nexa::store::StateTree>> parse_state(
      std::string_view xml) const override;
  std::shared_ptr<const nexa::store::StateTree> join_states(
      std::span<const std::shared_ptr<const nexa::store::StateTree>> trees) const override;
  grpc::Status history(std::size_t limit,
                       std::vector<nexa::store::CommitRecord>& out) const override;
  nexa::store::CommitResult rollback(
      std::uint64_t number, const std::string& author,
      const std::function<grpc::Status(const nexa::store::Change&)>& approve) override;

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const FakeLeaves> leaves_;
  std::set<std::string> known_;
  std::vector<nexa::store::CommitRequest> commits_;
  std::uint64_t number_ = 0;
  mutable int parsed_states_ = 0;
  mutable int snapshots_taken_ = 0;
};

}  // namespace nexa_test

#endif  // TESTS_SERVER_SUPPORT_FAKE_STORE_H_
