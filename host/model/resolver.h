// The one place where a client's path becomes nodes of the schema: origin, names in every spelling,
// wildcards, keys. Get, Set, Subscribe and the tool ask here, so one path has one meaning and one
// fault one text.
#ifndef HOST_MODEL_RESOLVER_H_
#define HOST_MODEL_RESOLVER_H_

#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "model/key_values.h"
#include "model/target.h"
#include "text/result.h"

namespace nexa::model {

// What the path is for.
enum class Purpose : std::uint8_t {
  kRead,    // wildcards and keys left out name every node that fits
  kDelete,  // the same
  kWrite,   // one node, or all entries of one list or leaf-list
};

class Resolver {
 public:
  // `schema` outlives the object.
  explicit Resolver(const Schema& schema, Mode mode = Mode::kTolerant);

  // The elements of `prefix` and then of `path`. Refusals:
  //   NOT_FOUND: a node or a module that the schema does not have.
  //   INVALID_ARGUMENT: a name that cannot be one or has several meanings, keys that the node does
  //     not have, that are missing or do not fit their type, an origin in both paths, a target in
  //     `path`.
  //   UNIMPLEMENTED: an origin that the schema is not served under; a wildcard in a kWrite.
  // Strict mode takes module names and identities as RFC 7951 wants them and nothing else; tolerant
  // mode also bare names and YANG prefixes, and a module's name as the origin, which then belongs
  // to a first element without module. `notes`, when given, receives a line for each guess.
  // Any thread.
  text::Result<Target> resolve(const gnmi::Path& prefix, const gnmi::Path& path, Purpose purpose,
                               std::vector<std::string>* notes = nullptr) const;

  // Makes of the target of a path to read that of a path of the same form (has_same_form) below the
  // same prefix, at the cost of its keys. False when the value of one does not fit: resolve() says
  // why, and the target is worth nothing. Any thread.
  bool read_keys(const gnmi::Path& path, Target& target) const;

  const Schema& schema() const { return schema_; }
  Mode mode() const { return mode_; }

 private:
  const Schema& schema_;
  const Mode mode_;
  mutable KeyValues keys_;  // has a lock of its own
};

}  // namespace nexa::model

#endif  // HOST_MODEL_RESOLVER_H_
