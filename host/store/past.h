// The configuration as it was: read from the log, which keeps what was configured and not what the
// defaults were at the time; they are those of the schema that is loaded now.
#ifndef HOST_STORE_PAST_H_
#define HOST_STORE_PAST_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "store/config_store.h"
#include "store/judge.h"
#include "store/log/commit_log.h"

namespace nexa::store {

class Past {
 public:
  // `log` outlives the object.
  explicit Past(const CommitLog& log) : log_(log) {}

  // ConfigStore::replay(). Any thread; one at a time: UNAVAILABLE for others,
  // so that they hold no thread. Commits go on meanwhile.
  grpc::Status replay(std::int64_t start_ns, std::int64_t end_ns, const StepSink& each);

 private:
  grpc::Status base_of(std::int64_t start_ns, ImagePtr& configured, std::uint64_t& number) const;
  std::shared_ptr<const Snapshot> as_read(const ImagePtr& configured, std::uint64_t number);

  const CommitLog& log_;
  std::mutex mutex_;
  // Not the writer's: a look at the past must not hold commits up. Made by the first one.
  std::unique_ptr<Judge> judge_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_PAST_H_
