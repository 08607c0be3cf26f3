// One Set from its arrival to its answer: login, checks and conversion on the workers, the commit
// on the writer's thread, one audit line whatever comes of it, unless there is no memory for the
// line.
#ifndef HOST_SERVER_SET_CALL_H_
#define HOST_SERVER_SET_CALL_H_

#include <functional>
#include <memory>
#include <vector>

#include "server/audit.h"
#include "server/service_core.h"

namespace nexa::server {

class SetCall : public std::enable_shared_from_this<SetCall> {
 public:
  SetCall(ServiceCore& core, grpc::CallbackServerContext& context);
  ~SetCall();
  SetCall(const SetCall&) = delete;
  SetCall& operator=(const SetCall&) = delete;

  // gRPC's side of the call.
  BytesReactor* reactor() const { return call_.reactor(); }

  // Begins with the login. Once.
  void start();

 private:
  using Approval = std::function<grpc::Status(const store::Change&)>;

  void judged(const grpc::Status& verdict, const nexa::access::Caller& caller);
  void received(const grpc::Status& received, nexa::access::Role role);
  void commit();
  grpc::Status apply();
  grpc::Status commit_edits();
  grpc::Status settle_pending();
  Approval approval() const;
  // Whether nobody waits for the answer any more: a Set may be long, and others wait behind it.
  bool is_abandoned() const;
  grpc::Status abandoned() const;

  void finish(const grpc::Status& verdict) noexcept;
  // What is sent: `answer` is set when the status is OK.
  grpc::Status answer_to(const grpc::Status& verdict, grpc::ByteBuffer& answer);

  ServiceCore& core_;
  UnaryCall call_;
  gnmi::SetRequest request_;
  gnmi::SetResponse response_;
  std::vector<store::Edit> edits_;
  SetAudit audit_;
  bool finished_ = false;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_SET_CALL_H_
