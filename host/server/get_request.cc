// A Get without paths reads what its prefix names. Texts of the library's checks go to the client
// as they are; all others name the path.
#include "server/get_request.h"

#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "profile/request_check.h"
#include "request/request_rules.h"
#include "server/get_answer.h"
#include "server/messages.h"
#include "server/reading_extensions.h"
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

// The paths of a request, resolved one after the other into one target: paths that differ in their
// keys alone cost no more than these.
class PathSeries {
 public:
  PathSeries(const GetParts& parts, const gnmi::GetRequest& request)
      : parts_(parts), request_(request) {}

  // Makes `target`, which is that of the path before or new, that of the path.
  grpc::Status resolve(int index, model::Target& target) {
    const gnmi::Path& path = request_.path(index);
    const bool is_alike =
        index > 0 && resolved_ == index - 1 && model::has_same_form(request_.path(index - 1), path);
    resolved_ = index;
    if (is_alike && parts_.resolver.read_keys(path, target)) return grpc::Status::OK;
    auto resolved = parts_.resolver.resolve(request_.prefix(), path, model::Purpose::kRead);
    if (resolved.ok()) {
      target = std::move(resolved.value());
      return grpc::Status::OK;
    }
    const gnmi::Path joined = model::join_paths(request_.prefix(), path);
    return {profile::code_for_reader(parts_.profile, resolved.failure().code),
            request::at_place(place_of(index), joined) + resolved.failure().rule};
  }

  // What is wrong with a path from `index` on; `otherwise` when nothing is. A request that is wrong
  // is told so, whatever the data are.
  grpc::Status fault_from(int index, grpc::Status otherwise) {
    model::Target target;
    resolved_ = -1;  // the target is a new one
    for (; index < request_.path_size(); ++index) {
      grpc::Status status = resolve(index, target);
      if (!status.ok()) return status;
    }
    return otherwise;
  }

 private:
  const GetParts& parts_;
  const gnmi::GetRequest& request_;
  int resolved_ = -1;
};

class Reader {
 public:
  Reader(const gnmi::GetRequest& request, const store::Snapshot& snapshot,
         const store::StateTree* state, store::Query query)
      : request_(request), snapshot_(snapshot), state_(state), query_(std::move(query)) {}

  // What is read next.
  model::Target& target() { return query_.target; }

  // Adds what the target, that of a path, names.
  grpc::Status read(int index, GetAnswer& answer) const;

 private:
  const gnmi::GetRequest& request_;
  const store::Snapshot& snapshot_;
  const store::StateTree* state_;
  store::Query query_;
  const std::int64_t timestamp_ = ServiceRpcMsgHelpers::get_timestamp();  // the snapshot's
};

grpc::Status Reader::read(int index, GetAnswer& answer) const {
  const gnmi::Path& requested = request_.path(index);
  // Each notification repeats the prefix, which may hold a long target.
  answer.begin(request_.prefix().ByteSizeLong());
  grpc::Status status =
      snapshot_.read(query_, state_, [&](gnmi::Path& path, gnmi::TypedValue& value) {
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
            request::at_place(place_of(index), query_.target.path) + status.error_message()};
  }
  answer.end(timestamp_);
  return grpc::Status::OK;
}

// What the request asks for beside its paths.
grpc::Status read_options(const GetParts& parts, const gnmi::GetRequest& request,
                          store::Query& query) {
  query.part = part_of(request.type());
  query.encoding = request.encoding();
  static const gnmi::CapabilityResponse no_models;
  const gnmi::CapabilityResponse& models = parts.models != nullptr ? *parts.models : no_models;
  auto used = model::ModelSet::of(request.use_models(), models.supported_models());
  if (!used.ok()) return used.failure().status();
  query.models = std::move(used.value());
  return read_depth(request.extension(), query.depth);
}

// With at least one path.
grpc::Status serve_paths(const GetParts& parts, const gnmi::GetRequest& request,
                         grpc::ByteBuffer& answer) {
  grpc::Status status = profile::check_get(parts.profile, request).status;
  if (!status.ok()) return status;
  PathSeries paths(parts, request);
  store::Query query;
  status = read_options(parts, request, query);
  if (!status.ok()) return paths.fault_from(0, status);
  std::shared_ptr<const store::StateTree> state;
  if (request.type() != gnmi::GetRequest::CONFIG) {
    status = parts.state.read(state);
    if (!status.ok()) return paths.fault_from(0, status);
  }
  const std::shared_ptr<const store::Snapshot> snapshot = parts.store.snapshot();
  Reader reader(request, *snapshot, state.get(), std::move(query));
  const telemetry::AnswerPrefix prefix(request.prefix(), request.has_prefix());
  GetAnswer written(prefix, parts.limits.max_answer_bytes);
  for (int index = 0; index < request.path_size(); ++index) {
    if (parts.cancelled && parts.cancelled()) {
      return {grpc::StatusCode::CANCELLED, kCallCancelled};
    }
    status = paths.resolve(index, reader.target());
    if (!status.ok()) return status;
    status = reader.read(index, written);
    if (!status.ok()) return paths.fault_from(index + 1, status);
  }
  answer = written.take();
  return grpc::Status::OK;
}

}  // namespace

grpc::Status serve_get(const GetParts& parts, const gnmi::GetRequest& request,
                       grpc::ByteBuffer& answer) {
  if (static_cast<std::size_t>(request.path_size()) > parts.limits.max_paths) {
    return {grpc::StatusCode::INVALID_ARGUMENT,
            std::to_string(request.path_size()) + " paths in one request, at most " +
                std::to_string(parts.limits.max_paths) + " are taken"};
  }
  if (request.path_size() > 0) return serve_paths(parts, request, answer);
  gnmi::GetRequest named = request;
  named.add_path();  // what the prefix names
  return serve_paths(parts, named, answer);
}

}  // namespace nexa::server
