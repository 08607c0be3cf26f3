// A payload that was judged becomes configuration XML, through the library's own functions in the
// order in which they belong together: path, binding walk, conversion, wrapper, text. What the
// library would alter travels as a placeholder and is set in the finished tree.
#ifndef HOST_TRANSLATE_CONVERSION_H_
#define HOST_TRANSLATE_CONVERSION_H_

#include <grpcpp/support/status.h>
#include <libxml/tree.h>

#include <memory>
#include <string>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "text/xml_owner.h"
#include "translate/payload.h"
#include "translate/silent_xml.h"

namespace nexa::translate {

// The nodes that a path names, from the top level down.
using NodeChain = std::vector<const PathStep*>;

// Converts values one after the other below one top element. One thread at a time in the process:
// the library's node cache has no lock.
class Conversion {
 public:
  Conversion(nexa::ServiceKestrelNamespaceMapperImpl& mapper, const SchemaNames& names,
             std::vector<std::string>* notes);

  // Adds `item` of `payload`, the value of the last step of `path`, with the elements and keys
  // above it, and with the leaves that the keys of the entries on the way stand for
  // (TargetKey::twin) where the value does not give them. INTERNAL when the library does not
  // convert what was judged to be right.
  grpc::Status add(const NodeChain& path, Payload& payload, std::uint32_t item);

  // Adds the elements of the first `steps` steps with their keys, and nothing below them.
  grpc::Status add_path(const NodeChain& path, std::size_t steps);

  // The document. Ends the conversion.
  grpc::Status finish(std::string& xml);

 private:
  struct Bound;

  grpc::Status bind(Bound& bound, const NodeChain& path, cJSON* root);
  grpc::Status wrap(const NodeChain& path, std::size_t steps, nexa::KestrelPath& resolved,
                    xmlNodePtr& attach_point);
  void add_entry_keys(xmlNodePtr element, const PathStep& step) const;
  void complete_wrapper(xmlNodePtr element, const NodeChain& path, std::size_t steps);
  void complete_entries(const NodeChain& path);
  void add_twin(xmlNodePtr entry, const PathStep& step, const PathKey& key);

  const SilentXml silence_;
  nexa::ServiceKestrelNamespaceMapperImpl& mapper_;
  const SchemaNames& names_;
  std::vector<std::string>* notes_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_;
  text::XmlNodePtr top_;
  std::vector<xmlNodePtr> elements_;  // of the path that is being added, without its own value's
};

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_CONVERSION_H_
