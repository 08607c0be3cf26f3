// The extension asks for one thing at a time: a Set that confirms an earlier one changes nothing.
#include "request/commit_action.h"

#include <optional>

#include "request/set_request.h"

namespace nexa::request {
namespace {

using Kind = CommitAction::Kind;

constexpr char kTwoCommits[] = "Extension commit is given twice";
constexpr char kNoCommitId[] = "Extension commit without an id";
constexpr char kLongCommitId[] = "Extension commit: the id is longer than 1024 bytes";
constexpr char kNoCommitAction[] = "Extension commit without an action";
constexpr char kBesideOperations[] =
    " of extension commit stands alone, without delete, replace and update";
constexpr char kNoDuration[] = "Extension commit: rollback_duration has to be above 0";
constexpr char kLongDuration[] = "Extension commit: rollback_duration is above 366 days";
constexpr std::size_t kLongestId = 1024;
constexpr std::int64_t kLongestSeconds = 366LL * 24 * 3600;

grpc::Status invalid(std::string text) {
  return {grpc::StatusCode::INVALID_ARGUMENT, std::move(text)};
}

// A message without any value in it is a duration of 0, which clients send for "none given".
grpc::Status read_duration(const google::protobuf::Duration& given,
                           std::chrono::nanoseconds& duration) {
  if (given.seconds() < 0 || given.nanos() < 0) return invalid(kNoDuration);
  if (given.seconds() > kLongestSeconds) return invalid(kLongDuration);
  duration = std::chrono::seconds(given.seconds()) + std::chrono::nanoseconds(given.nanos());
  return grpc::Status::OK;
}

Kind kind_of(gnmi_ext::Commit::ActionCase action) {
  switch (action) {
    case gnmi_ext::Commit::kCommit:
      return Kind::kCommit;
    case gnmi_ext::Commit::kConfirm:
      return Kind::kConfirm;
    case gnmi_ext::Commit::kCancel:
      return Kind::kCancel;
    case gnmi_ext::Commit::kSetRollbackDuration:
      return Kind::kExtend;
    case gnmi_ext::Commit::ACTION_NOT_SET:
      break;
  }
  return Kind::kNone;
}

grpc::Status read_duration(const gnmi_ext::Commit& commit, CommitAction& action) {
  grpc::Status status;
  if (action.kind == Kind::kCommit) {
    status = read_duration(commit.commit().rollback_duration(), action.duration);
    if (status.ok() && action.duration.count() == 0) action.duration = kUsualConfirmTime;
  } else if (action.kind == Kind::kExtend) {
    status = read_duration(commit.set_rollback_duration().rollback_duration(), action.duration);
    if (status.ok() && action.duration.count() == 0) status = invalid(kNoDuration);
  }
  return status;
}

}  // namespace

const char* name_of(CommitAction::Kind kind) {
  switch (kind) {
    case Kind::kCommit:
      return "commit";
    case Kind::kConfirm:
      return "confirm";
    case Kind::kCancel:
      return "cancel";
    case Kind::kExtend:
      return "set_rollback_duration";
    case Kind::kNone:
      break;
  }
  return "";
}

grpc::Status read_commit_action(const gnmi::SetRequest& request, CommitAction& action) {
  action = CommitAction();
  const gnmi_ext::Commit* commit = nullptr;
  for (const gnmi_ext::Extension& extension : request.extension()) {
    if (!extension.has_commit()) continue;
    if (commit != nullptr) return invalid(kTwoCommits);
    commit = &extension.commit();
  }
  if (commit == nullptr) return grpc::Status::OK;
  if (commit->id().empty()) return invalid(kNoCommitId);
  if (commit->id().size() > kLongestId) return invalid(kLongCommitId);
  action.kind = kind_of(commit->action_case());
  if (action.kind == Kind::kNone) return invalid(kNoCommitAction);
  if (action.kind != Kind::kCommit && operation_count(request) > 0) {
    return invalid(std::string("Action ") + name_of(action.kind) + kBesideOperations);
  }
  action.id = commit->id();
  return read_duration(*commit, action);
}

}  // namespace nexa::request
