// What does a Set ask for by the commit-confirmed extension of gNMI?
#ifndef HOST_REQUEST_COMMIT_ACTION_H_
#define HOST_REQUEST_COMMIT_ACTION_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "gnmi.pb.h"

namespace nexa::request {

struct CommitAction {
  enum class Kind : std::uint8_t {
    kNone,     // no such extension: the Set stands at once
    kCommit,   // the Set waits for its confirmation
    kConfirm,  // the one that waits stands
    kCancel,   // it is taken back
    kExtend,   // it waits anew
  };
  Kind kind = Kind::kNone;
  std::string id;
  std::chrono::nanoseconds duration{0};  // kCommit, kExtend: above 0
};

// How long a commit waits that says nothing of it.
inline constexpr std::chrono::minutes kUsualConfirmTime{10};

// INVALID_ARGUMENT: no id or a very long one, no action, a duration that is none or above a year
// (for set_rollback_duration also none at all), the extension twice, operations beside an action
// that commits nothing.
grpc::Status read_commit_action(const gnmi::SetRequest& request, CommitAction& action);

// "commit", "confirm", "cancel" or "set_rollback_duration"; empty for kNone.
const char* name_of(CommitAction::Kind kind);

}  // namespace nexa::request

#endif  // HOST_REQUEST_COMMIT_ACTION_H_
