// The error record of the rooms that answer clients, and a value or that record.
#ifndef HOST_MODEL_RESULT_H_
#define HOST_MODEL_RESULT_H_

#include <grpcpp/support/status.h>

#include <string>
#include <utility>
#include <variant>

namespace nexa::model {

// Why a client's input is not taken. The door that answers puts its own context in front: the
// operation, the field of the request.
struct Refusal {
  grpc::StatusCode code = grpc::StatusCode::INVALID_ARGUMENT;
  std::string path;  // the place, as a path or an instance identifier; empty when there is none
  std::string rule;  // the sentence for the client; names what of the path is at fault

  grpc::Status status() const { return {code, rule}; }
};

// A value, or why there is none. Whoever takes the value has looked at ok().
template <typename Value>
class Result {
 public:
  Result(Value value) : content_(std::move(value)) {}        // NOLINT(google-explicit-constructor)
  Result(Refusal refusal) : content_(std::move(refusal)) {}  // NOLINT(google-explicit-constructor)

  bool ok() const { return std::holds_alternative<Value>(content_); }
  Value& value() { return std::get<Value>(content_); }
  const Value& value() const { return std::get<Value>(content_); }
  const Refusal& refusal() const { return std::get<Refusal>(content_); }

 private:
  std::variant<Value, Refusal> content_;
};

}  // namespace nexa::model

#endif  // HOST_MODEL_RESULT_H_
