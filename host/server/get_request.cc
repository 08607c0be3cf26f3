// A Get without paths reads what its prefix names. Texts of the library's checks go to the client
// as they are; all others name the path.
#include "server/get_request.h"

#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "profile/request_check.h"
#include "server/get_answer.h"
#include "server/messages.h"
#include "server/reading_extensions.h"
#include "server/request_rules.h"
#include "telemetry/answer_paths.h"

namespace nexa::server {
namespace {

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
  std::uint32_t depth = 0;
};

class Reader {
 public:
  Reader(const gnmi::GetRequest& request, const store::Snapshot& snapshot,
         const store::StateTree* state, const Question& question)
      : request_(request),
        snapshot_(snapshot),
        state_(state),
        models_(question.models),
        depth_(question.depth) {}

  // Adds what the target of a path names.
  grpc::Status read(int index, model::Target target, GetAnswer& answer) const;

 private:
  const gnmi::GetRequest& request_;
  const store::Snapshot& snapshot_;
  const store::StateTree* state_;
  const std::shared_ptr<const model::ModelSet> models_;
  const std::uint32_t depth_;
  const std::int64_t timestamp_ = ServiceRpcMsgHelpers::get_timestamp();  // the snapshot's
};

grpc::Status Reader::read(int index, model::Target target, GetAnswer& answer) const {
  const gnmi::Path& requested = request_.path(index);
  store::Query query;
  query.target = std::move(target);
  query.part = part_of(request_.type());
  query.encoding = request_.encoding();
  query.models = models_;
  query.depth = depth_;
  // Each notification repeats the prefix, which may hold a long target.
  answer.begin(request_.prefix().ByteSizeLong());
  grpc::Status status =
      snapshot_.read(query, state_, [&](gnmi::Path& path, gnmi::TypedValue& value) {
        telemetry::AnswerPrefix::place_origin(requested, path);
        answer.add(path, value);
      });
  if (status.ok() && answer.is_too_large()) {
    status = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, kAnswerTooLarge);
  } else if (status.ok() && answer.is_empty()) {
    status = grpc::Status(grpc::StatusCode::NOT_FOUND, kNoData);
  }
  if (!status.ok()) {
    return {status.error_code(),
            at_place(place_of(index), query.target.path) + status.error_message()};
  }
  answer.end(timestamp_);
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
  return read_depth(request.extension(), question.depth);
}

}  // namespace

grpc::Status serve_get(const GetParts& parts, const gnmi::GetRequest& request,
                       grpc::ByteBuffer& answer) {
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
  const Reader reader(checked, *snapshot, state.get(), question);
  const telemetry::AnswerPrefix prefix(checked.prefix(), checked.has_prefix());
  GetAnswer written(prefix, parts.limits.max_answer_bytes);
  for (int index = 0; index < checked.path_size(); ++index) {
    if (parts.cancelled && parts.cancelled()) {
      return {grpc::StatusCode::CANCELLED, kCallCancelled};
    }
    model::Target& target = question.targets[static_cast<std::size_t>(index)];
    status = reader.read(index, std::move(target), written);
    if (!status.ok()) return status;
  }
  answer = written.take();
  return grpc::Status::OK;
}

}  // namespace nexa::server
