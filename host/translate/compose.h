// One Set update with a JSON_IETF value becomes a configuration XML document: the library's
// functions, called in a server's order, with what they need around them so that no input aborts
// the process, loses a member or yields half a document.
#ifndef HOST_TRANSLATE_COMPOSE_H_
#define HOST_TRANSLATE_COMPOSE_H_

#include <grpcpp/support/status.h>

#include <string>

#include "gnmi.pb.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace nexa::host {

enum class Converter {
  kStrict,  // start_json2xml, which reports why a value cannot be converted
  kSimple,  // json2xml
};

struct ComposeRequest {
  gnmi::Path path;    // external form: module names (RFC 7951), as a client sends it
  std::string value;  // JSON_IETF text
  RequestType mode = UPDATE;
  Converter converter = Converter::kStrict;
};

// Converts `request` over the loaded schema into `xml`: an XML declaration, and the data below a
// top element `config`. An empty path (REPLACE only) takes each member of the value for a tree of
// its own. On a refusal `xml` is unchanged and the status names the place: the library's verdict
// where it has one, INVALID_ARGUMENT for what a client can mend, INTERNAL otherwise. One thread at
// a time may use a mapper.
grpc::Status compose(ServiceKestrelNamespaceMapperImpl& mapper, const ComposeRequest& request,
                     std::string& xml);

}  // namespace nexa::host

#endif  // HOST_TRANSLATE_COMPOSE_H_
