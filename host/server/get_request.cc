// A Get without paths reads what its prefix names. Texts of the library's checks go to the client
// as they are; all others name the path.
#include "server/get_request.h"

#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "profile/request_check.h"
#include "server/messages.h"
#include "server/request_rules.h"
#include "telemetry/answer_paths.h"

namespace nexa::server {
namespace {

// Tags and lengths of an update, its value and its notification, and the origin of its path.
constexpr std::size_t kBytesAroundUpdate = 64;

store::DataPart part_of(gnmi::GetRequest::DataType type) {
  switch (type) {
    case gnmi::GetRequest::CONFIG:
      return store::DataPart::kConfig;
    case gnmi::GetRequest::STATE:
      return store::DataPart::kState;
    case gnmi::GetRequest::OPERATIONAL:
      return store::DataPart::kOperational;
    default:
      return store::DataPart::kAll;
  }
}

std::string place_of(int index) { return "path[" + std::to_string(index) + "]"; }

// What a request asks for, once its checks are passed.
struct Question {
  std::vector<model::Target> targets;
  std::shared_ptr<const model::ModelSet> models;
};

class Reader {
 public:
  Reader(const gnmi::GetRequest& request, const store::Snapshot& snapshot,
         const store::StateTree* state, std::shared_ptr<const model::ModelSet> models)
      : request_(request),
        prefix_(request.prefix(), request.has_prefix()),
        snapshot_(snapshot),
        state_(state),
        models_(std::move(models)) {}

  // Adds what the target of a path names; no more is kept than `room` bytes, of which it takes what
  // it needs.
  grpc::Status read(int index, model::Target target, std::size_t& room,
                    gnmi::GetResponse& response) const;

 private:
  const gnmi::GetRequest& request_;
  const telemetry::AnswerPrefix prefix_;
  const store::Snapshot& snapshot_;
  const store::StateTree* state_;
  const std::shared_ptr<const model::ModelSet> models_;
  const std::int64_t timestamp_ = ServiceRpcMsgHelpers::get_timestamp();  // the snapshot's
};

grpc::Status Reader::read(int index, model::Target target, std::size_t& room,
                          gnmi::GetResponse& response) const {
  const gnmi::Path& requested = request_.path(index);
  store::Query query;
  query.target = std::move(target);
  query.part = part_of(request_.type());
  query.encoding = request_.encoding();
  query.models = models_;
  gnmi::Notification* notification = ServiceRpcMsgHelpers::build_notification(&response, nullptr);
  notification->set_timestamp(timestamp_);
  bool covered = true;
  // Each notification repeats the prefix, which may hold a long target.
  const std::size_t frame = request_.prefix().ByteSizeLong() + kBytesAroundUpdate;
  bool fits = frame <= room;
  if (fits) room -= frame;
  grpc::Status status =
      snapshot_.read(query, state_, [&](gnmi::Path& path, gnmi::TypedValue& value) {
        const std::size_t bytes = value.ByteSizeLong() + path.ByteSizeLong() + kBytesAroundUpdate;
        fits = fits && bytes <= room;
        if (!fits) return;
        room -= bytes;
        gnmi::Update* update = notification->add_update();
        covered = covered && prefix_.covers(path);
        *update->mutable_val() = std::move(value);
        telemetry::AnswerPrefix::place_origin(requested, path);
        *update->mutable_path() = std::move(path);
      });
  if (status.ok() && !fits) {
    status = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, kAnswerTooLarge);
  } else if (status.ok() && notification->update_size() == 0) {
    status = grpc::Status(grpc::StatusCode::NOT_FOUND, kNoData);
  }
  if (!status.ok()) {
    return {status.error_code(),
            at_place(place_of(index), query.target.path) + status.error_message()};
  }
  if (covered) {
    for (gnmi::Update& update : *notification->mutable_update()) {
      prefix_.make_relative(*update.mutable_path());
    }
  }
  const gnmi::Path* shown = prefix_.shown(covered);
  if (shown != nullptr) *notification->mutable_prefix() = *shown;
  return grpc::Status::OK;
}

// The checks of the request as it came, and its targets; `request` gains the path that a bare
// prefix stands for.
grpc::Status check(const GetParts& parts, gnmi::GetRequest& request, Question& question) {
  if (static_cast<std::size_t>(request.path_size()) > parts.limits.max_paths) {
    return {grpc::StatusCode::INVALID_ARGUMENT,
            std::to_string(request.path_size()) + " paths in one request, at most " +
                std::to_string(parts.limits.max_paths) + " are taken"};
  }
  if (request.path_size() == 0) request.add_path();
  grpc::Status status = profile::check_get(parts.profile, request).status;
  if (!status.ok()) return status;
  for (int index = 0; index < request.path_size(); ++index) {
    auto resolved =
        parts.resolver.resolve(request.prefix(), request.path(index), model::Purpose::kRead);
    if (resolved.ok()) {
      question.targets.push_back(std::move(resolved.value()));
      continue;
    }
    const gnmi::Path joined = model::join_paths(request.prefix(), request.path(index));
    return {profile::code_for_reader(parts.profile, resolved.refusal().code),
            at_place(place_of(index), joined) + resolved.refusal().rule};
  }
  static const gnmi::CapabilityResponse no_models;
  const gnmi::CapabilityResponse& models = parts.models != nullptr ? *parts.models : no_models;
  auto used = model::ModelSet::of(request.use_models(), models.supported_models());
  if (!used.ok()) return used.refusal().status();
  question.models = std::move(used.value());
  return grpc::Status::OK;
}

}  // namespace

grpc::Status serve_get(const GetParts& parts, const gnmi::GetRequest& request,
                       gnmi::GetResponse& response) {
  gnmi::GetRequest checked = request;
  Question question;
  grpc::Status status = check(parts, checked, question);
  if (!status.ok()) return status;
  std::shared_ptr<const store::StateTree> state;
  if (checked.type() != gnmi::GetRequest::CONFIG) {
    status = parts.state.read(state);
    if (!status.ok()) return status;
  }
  const std::shared_ptr<const store::Snapshot> snapshot = parts.store.snapshot();
  const Reader reader(checked, *snapshot, state.get(), std::move(question.models));
  std::size_t room = parts.limits.max_answer_bytes;
  for (int index = 0; index < checked.path_size(); ++index) {
    if (parts.cancelled && parts.cancelled()) {
      return {grpc::StatusCode::CANCELLED, kCallCancelled};
    }
    model::Target& target = question.targets[static_cast<std::size_t>(index)];
    status = reader.read(index, std::move(target), room, response);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

}  // namespace nexa::server
