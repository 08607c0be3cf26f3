// A commit that nobody confirmed in time is taken back: at its time while the server runs, and at
// the start when the time was over before.
#ifndef HOST_SERVER_CONFIRMATION_WATCH_H_
#define HOST_SERVER_CONFIRMATION_WATCH_H_

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "server/service_core.h"
#include "telemetry/sampler.h"

namespace nexa::server {

class ConfirmationWatch : public telemetry::Sampler::Sampled,
                          public std::enable_shared_from_this<ConfirmationWatch> {
 public:
  // `core` outlives its threads' last call of this object.
  explicit ConfirmationWatch(ServiceCore& core) : core_(core) {}

  // Before the first call is served: takes back what is overdue, and waits for what is not. A
  // commit that cannot be taken back (a disk that cannot be written) is tried again and again; it
  // is served meanwhile, and every other commit is refused.
  void begin();

  // Before each change of the commit that waits: should memory be wanting afterwards, it is looked
  // at soon. What throws here has changed nothing. On the writer's thread.
  void stand_by();

  // Looks at the commit that waits anew. On the writer's thread, after each change of it.
  void look();

  // After any other Set: it may have found out that a commit waits whose outcome was not known. On
  // the writer's thread.
  void look_for_a_new_one();

  void due() override;

 private:
  // What the appointment is for. The clock of the wall may jump; how long a commit waits is
  // measured.
  struct Waiting {
    std::string id;
    std::uint64_t number = 0;
    std::int64_t time_ns = 0;
    telemetry::MonotonicTime deadline;
  };

  bool is_known(const store::PendingCommit& pending) const;
  void run();
  bool take_back(const store::PendingCommit& pending);
  void schedule(telemetry::MonotonicTime time);

  ServiceCore& core_;
  std::mutex mutex_;  // for the appointment
  telemetry::Sampler::Appointment appointment_;
  std::atomic<bool> is_posted_{false};  // run() is, to the writer
  // Of the writer's thread.
  Waiting waiting_;
  std::chrono::seconds pause_{0};  // until the next try; 0: none failed
  std::string last_fault_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_CONFIRMATION_WATCH_H_
