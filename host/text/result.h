// Why something is not so: the one record of a failure for all rooms, and a value or that record.
#ifndef HOST_TEXT_RESULT_H_
#define HOST_TEXT_RESULT_H_

#include <grpcpp/support/status.h>

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace nexa::text {

// A client's input that is not taken, or a file, a folder, a setting or a program that cannot be
// used. `path` is the place alone: a path or an instance identifier for a client, "users:3",
// "--listen" or an address for an operator. A sentence with more than one place in it, or whose
// place is its subject ("--hook is missing"), stands in `rule` as a whole, with no path.
struct [[nodiscard]] Failure {
  // That of what an operator named; who refuses a client's input says which one it is.
  grpc::StatusCode code = grpc::StatusCode::FAILED_PRECONDITION;
  std::string path;  // empty when there is none
  std::string rule;  // the sentence; for a client it names what of the path is at fault

  // What an operator reads: "path: rule".
  std::string line() const { return path.empty() ? rule : path + ": " + rule; }

  // What a client reads, where the path is its own: the door that answers puts the operation or the
  // field of the request in front.
  grpc::Status status() const { return {code, rule}; }
};

// The failure of what an operator named.
inline Failure unusable(std::string path, std::string rule) {
  return {grpc::StatusCode::FAILED_PRECONDITION, std::move(path), std::move(rule)};
}

// The failure of a part of `place`, as one of the whole: its line begins with the place.
inline Failure failure_at(const std::string& place, Failure failure) {
  failure.path = failure.path.empty() ? place : place + ": " + failure.path;
  return failure;
}

// A value, or why there is none. Whoever takes one of the two has looked at ok().
template <typename Value>
class [[nodiscard]] Result {
 public:
  // Of whatever is a value without a word: a pointer to a derived class is one to its base.
  template <typename From = Value,
            typename = std::enable_if_t<std::is_convertible_v<From&&, Value> &&
                                        !std::is_same_v<std::decay_t<From>, Failure>>>
  Result(From&& value)  // NOLINT(google-explicit-constructor)
      : content_(std::in_place_index<0>, std::forward<From>(value)) {}
  Result(Failure failure)  // NOLINT(google-explicit-constructor)
      : content_(std::in_place_index<1>, std::move(failure)) {}

  bool ok() const { return content_.index() == 0; }
  Value& value() & { return std::get<0>(content_); }
  const Value& value() const& { return std::get<0>(content_); }
  Value&& value() && { return std::get<0>(std::move(content_)); }
  const Failure& failure() const& { return std::get<1>(content_); }
  Failure&& failure() && { return std::get<1>(std::move(content_)); }

 private:
  std::variant<Value, Failure> content_;
};

// That something is done, or why not.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Failure failure)  // NOLINT(google-explicit-constructor)
      : failure_(std::move(failure)) {}

  bool ok() const { return !failure_.has_value(); }
  const Failure& failure() const& { return failure_.value(); }
  Failure&& failure() && { return std::move(failure_).value(); }

 private:
  std::optional<Failure> failure_;
};

using Done = Result<void>;

}  // namespace nexa::text

#endif  // HOST_TEXT_RESULT_H_
