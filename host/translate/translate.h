// The layer between a gNMI update and the configuration database. What is stored is what the client
// sent, or the client gets an error that names the place.
//
// The library below has fixed behaviours that a careless caller turns into lost data; everything
// that reaches it from here was checked against the schema before, and what it gives back is
// compared with the request.
#ifndef HOST_TRANSLATE_TRANSLATE_H_
#define HOST_TRANSLATE_TRANSLATE_H_

#include <grpcpp/support/status.h>

#include <memory>
#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "model/target.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa::translate {

using model::Mode;

// Outcome of one value. A refusal is INVALID_ARGUMENT (or UNIMPLEMENTED, for what the service does
// not take), and its message names the way down to the member, the value and the rule. Operation
// and path are the caller's to say.
struct Translation {
  grpc::Status status;
  std::string xml;                 // the document, top element "config"; empty after a refusal
  std::vector<std::string> notes;  // what the layer did beyond the plain conversion, when asked for
};

class Translator {
 public:
  // `mapper` is populated and outlives this object, and so does the schema. The library takes one
  // thread at a time on one mapper: every call here runs under this object's lock, so let one
  // Translator be the only user of its mapper while it serves.
  Translator(nexa::ServiceKestrelNamespaceMapperImpl& mapper, const model::Schema& schema,
             Mode mode = Mode::kTolerant);
  ~Translator();
  Translator(const Translator&) = delete;
  Translator& operator=(const Translator&) = delete;

  // The value, which is to stand at `target`, as configuration. The target was resolved with
  // Purpose::kWrite, and the request has passed its checks (request_check.h). Any thread.
  Translation translate(const model::Target& target, const gnmi::TypedValue& value,
                        bool explain = false);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_TRANSLATE_H_
