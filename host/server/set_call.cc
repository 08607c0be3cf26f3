// The call passes from thread to thread, never to two at a time; whoever drops it answers it.
#include "server/set_call.h"

#include <string>
#include <utility>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "request/set_request.h"
#include "request/status_details.h"
#include "server/confirmation_watch.h"
#include "server/messages.h"
#include "server/request_bytes.h"
#include "server/want_of_memory.h"
#include "text/display.h"

namespace nexa::server {
namespace {

// The store finds out before it does anything else.
grpc::Status unknown_outcome() noexcept {
  return status_of(grpc::StatusCode::UNAVAILABLE, kUnknownOutcome);
}

}  // namespace

SetCall::SetCall(ServiceCore& core, grpc::CallbackServerContext& context)
    : core_(core), call_(core, context, "Set") {}

SetCall::~SetCall() { finish(core_.dropped()); }

void SetCall::start() {
  audit_.user = call_.identity()->claimed_name();
  audit_.peer = call_.identity()->peer;
  const auto self = shared_from_this();
  ServiceCore::Login login{call_.identity(), "Set", [self] { return self->call_.cancelled(); }, {}};
  login.then = [self](const grpc::Status& verdict, const access::Caller& caller) {
    self->judged(verdict, caller);
  };
  core_.authenticate(std::move(login));
}

void SetCall::judged(const grpc::Status& verdict, const access::Caller& caller) {
  if (!verdict.ok()) {
    finish(verdict);
    return;
  }
  audit_.user = caller.name;
  call_.receive([self = shared_from_this(), role = caller.role](const grpc::Status& received) {
    self->received(received, role);
  });
}

void SetCall::received(const grpc::Status& received, access::Role role) {
  grpc::Status status = received;
  if (status.ok()) status = call_.guarded([&] { return call_.request(request_); });
  if (!status.ok()) {
    finish(status);
    return;
  }
  if (role != access::Role::kReadWrite) {
    finish({grpc::StatusCode::PERMISSION_DENIED, kReadOnlyRole});
    return;
  }
  const request::SetParts parts{core_.parts.resolver, core_.parts.translator,
                                core_.options.limits.max_operations,
                                [this] { return is_abandoned(); }, core_.options.profile};
  status = call_.guarded([&] { return request::prepare_set(parts, request_, edits_); });
  if (status.ok()) status = request::read_commit_action(request_, audit_.action);
  if (!status.ok()) {
    finish(status.error_code() == grpc::StatusCode::CANCELLED ? abandoned() : status);
    return;
  }
  if (core_.writer.post([self = shared_from_this()] { self->commit(); })) return;
  finish(core_.stopping ? core_.no_room()
                        : grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManySets));
}

void SetCall::commit() {
  finish(is_abandoned() ? abandoned() : call_.guarded([this] { return apply(); }));
}

bool SetCall::is_abandoned() const { return core_.stopping || call_.cancelled(); }

grpc::Status SetCall::abandoned() const {
  return core_.stopping ? core_.no_room()
                        : grpc::Status(grpc::StatusCode::CANCELLED, kCallCancelled);
}

grpc::Status SetCall::apply() {
  grpc::Status status = core_.arbitration.admit(request_);
  if (!status.ok()) return status;
  const request::CommitAction::Kind action = audit_.action.kind;
  // Before the commit: what was done is not to be refused for want of memory, nor because too many
  // answers wait.
  request::answer_set(request_, response_);
  status = call_.reserve(response_.ByteSizeLong());
  if (!status.ok()) return status;
  if (action != request::CommitAction::Kind::kNone) core_.confirmations->stand_by();
  if (action == request::CommitAction::Kind::kCommit || !edits_.empty()) {
    status = commit_edits();
  } else if (action != request::CommitAction::Kind::kNone) {
    status = settle_pending();
  }
  if (action != request::CommitAction::Kind::kNone) {
    attempt([this] { core_.confirmations->look(); });  // otherwise it looks soon
  } else {
    attempt([this] { core_.confirmations->look_for_a_new_one(); });
  }
  response_.set_timestamp(ServiceRpcMsgHelpers::get_timestamp());
  return status;
}

grpc::Status SetCall::commit_edits() {
  const request::CommitAction& action = audit_.action;
  store::CommitRequest commit;
  commit.edits = std::move(edits_);
  commit.author = audit_.user;
  commit.comment = "Set of " + std::to_string(request::operation_count(request_)) + " operations";
  if (action.kind == request::CommitAction::Kind::kCommit) {
    commit.comment += ", to be confirmed as " + text::quoted(action.id);
    commit.confirm_id = action.id;
    commit.confirm_within = action.duration;
  }
  commit.approve = approval();
  commit.abandoned = [this] { return is_abandoned(); };
  store::CommitResult result;
  try {
    result = core_.parts.store.commit(commit);
  } catch (const std::bad_alloc&) {
    return unknown_outcome();
  }
  if (result.status.error_code() == grpc::StatusCode::UNAVAILABLE) {
    grpc::Status status = unknown_outcome();
    attempt([&] { status = request::refusal_of(request_, result); });
    return status;
  }
  if (is_abandoned() && !result.status.ok()) return abandoned();
  if (!result.status.ok()) return request::refusal_of(request_, result);
  audit_.commit = result.number;
  return grpc::Status::OK;
}

grpc::Status SetCall::settle_pending() {
  const request::CommitAction& action = audit_.action;
  store::ConfigStore& store = core_.parts.store;
  const std::string reason = text::quoted(action.id) + " was cancelled";
  try {
    if (action.kind == request::CommitAction::Kind::kConfirm) return store.confirm(action.id);
    if (action.kind == request::CommitAction::Kind::kExtend)
      return store.extend(action.id, action.duration);
    const store::CommitResult result =
        store.cancel(action.id, audit_.user, reason, core_.parts.approve);
    if (result.status.ok()) audit_.commit = result.number;
    return result.status;
  } catch (const std::bad_alloc&) {
    return unknown_outcome();
  }
}

// A union that the device does not take has failed to be applied (gNMI union_replace,
// section 5.2.2).
SetCall::Approval SetCall::approval() const {
  const Approval& approve = core_.parts.approve;
  if (!approve || request_.union_replace_size() == 0) return approve;
  return [&approve](const store::Change& change) {
    grpc::Status verdict = approve(change);
    if (verdict.ok()) return verdict;
    return grpc::Status(grpc::StatusCode::INTERNAL, verdict.error_message());
  };
}

void SetCall::finish(const grpc::Status& verdict) noexcept {
  if (finished_) return;
  finished_ = true;
  audit_.time = call_.age();
  attempt([&] {
    audit_.verdict = verdict;
    // A login that failed has a line already, and strangers must not fill the log with paths.
    if (verdict.error_code() == grpc::StatusCode::UNAUTHENTICATED) return;
    core_.parts.observer.audit(audit_line(audit_, request_));
  });
  grpc::ByteBuffer answer;
  grpc::Status status = verdict.ok() ? unknown_outcome() : sendable(verdict);
  attempt([&] { status = answer_to(verdict, answer); });
  call_.finish(status, answer);
}

grpc::Status SetCall::answer_to(const grpc::Status& verdict, grpc::ByteBuffer& answer) {
  if (verdict.ok()) return write_answer(response_, answer);
  if (!verdict.error_details().empty()) return verdict;
  return request::with_details(verdict.error_code(), verdict.error_message(), nullptr);
}

}  // namespace nexa::server
