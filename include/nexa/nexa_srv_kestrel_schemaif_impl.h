// The schema interface over the kestrel library: child look-up through the cache, and the start-up walk
// that gives augmenting nodes a pseudo module name.
#ifndef NEXA_NEXA_SRV_KESTREL_SCHEMAIF_IMPL_H_
#define NEXA_NEXA_SRV_KESTREL_SCHEMAIF_IMPL_H_

#include <grpcpp/support/status.h>

#include <memory>
#include <string>

#include "gnmi/gnmi_rfc7951_defs.h"
#include "gnmi/gnmi_rfc7951_schema_interface.h"
#include "kestrel/kestrel.h"
#include "nexa/nexa_export.h"

namespace nexa {
class ServiceKestrelNamespaceMapperImpl;
}

namespace gnmi::rfc7951 {

// The concrete schema interface of one mapper. Not thread-safe: the cache has no lock, so one thread at
// a time may look nodes up.
template <unsigned Capacity>
class NEXA_EXPORT GenericServiceKestrelSchemaifImpl
    : public GenericSchemaInterface<kestrel_cs_node, SchemaNode<kestrel_cs_node>,
                                    GenericPathPointer<kestrel_cs_node>,
                                    GenericServiceKestrelSchemaifImpl<Capacity>>,
      public GenericSchemaInterfaceImpl<Capacity, void, kestrel_cs_node, SchemaNode<kestrel_cs_node>,
                                        GenericPathPointer<kestrel_cs_node>> {
 public:
  using Snode = SchemaNode<kestrel_cs_node>;

  // Finds the child `name` in namespace `ns` below `parent`; `keyNs` and `depth` only form the cache
  // key. Code INTERNAL when the schema has no such child; `out` is then unchanged.
  grpc::Status findSnode(const std::string& keyNs, int depth, const std::string& name,
                         const std::string& ns, const std::shared_ptr<Snode>& parent,
                         std::shared_ptr<Snode>& out);
};

// What the schema walk carries from node to node.
struct NEXA_EXPORT SchemaWalkContext {
  nexa::ServiceKestrelNamespaceMapperImpl* mapper = nullptr;
  std::string origin;
  std::string moduleName;
  kestrel_cs_node* rootNode = nullptr;
  std::string rootYmpPrefix;

  // The walk's callback; `ctx` is a SchemaWalkContext.
  static grpc::Status schemaNodeProcess_(int depth, kestrel_cs_node* node, void* ctx);
  // Adds the pseudo module name of a node that another module put into the tree.
  static grpc::Status generatePseudoEntry_(int depth, kestrel_cs_node* node, void* ctx);
};

extern template class GenericServiceKestrelSchemaifImpl<256>;

}  // namespace gnmi::rfc7951

#endif  // NEXA_NEXA_SRV_KESTREL_SCHEMAIF_IMPL_H_
