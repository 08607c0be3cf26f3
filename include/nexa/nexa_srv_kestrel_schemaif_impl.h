// The schema interface over the kestrel library: child look-up through the cache, and the start-up
// walk that gives augmenting nodes a pseudo module name.
#ifndef NEXA_NEXA_SRV_KESTREL_SCHEMAIF_IMPL_H_
#define NEXA_NEXA_SRV_KESTREL_SCHEMAIF_IMPL_H_

#include <grpc/support/log.h>
#include <grpcpp/support/status.h>

#include <boost/optional.hpp>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "gnmi/gnmi_rfc7951_defs.h"
#include "gnmi/gnmi_rfc7951_schema_interface.h"
#include "kestrel/kestrel.h"
#include "nexa/nexa_export.h"

namespace nexa {
class ServiceKestrelNamespaceMapperImpl;
}

namespace gnmi::rfc7951 {

// The concrete schema interface of one mapper. Not thread-safe: the cache has no lock, so one
// thread at a time may look nodes up.
template <unsigned Capacity>
class NEXA_EXPORT GenericServiceKestrelSchemaifImpl
    : public GenericSchemaInterface<kestrel_cs_node, SchemaNode<kestrel_cs_node>,
                                    GenericPathPointer<kestrel_cs_node>,
                                    GenericServiceKestrelSchemaifImpl<Capacity>>,
      public GenericSchemaInterfaceImpl<Capacity, void, kestrel_cs_node,
                                        SchemaNode<kestrel_cs_node>,
                                        GenericPathPointer<kestrel_cs_node>> {
 public:
  using Snode = SchemaNode<kestrel_cs_node>;

  // Finds the child `name` in namespace `ns` below `parent`; `keyNs` and `depth` only form the
  // cache key. Code INTERNAL when the schema has no such child; `out` is then unchanged.
  grpc::Status findSnode(const std::string& keyNs, int depth, const std::string& name,
                         const std::string& ns, const std::shared_ptr<Snode>& parent,
                         std::shared_ptr<Snode>& out);

 private:
  // Whether a cached node may stand for a child of `parent`: the key does not name the parent. The
  // first test is about the parent itself, so that a node which repeats its parent's name is served
  // below every parent of that name.
  static bool belongs_to_(const Snode& cached, const Snode& parent) {
    return (cached.ns == parent.ns && cached.name == parent.name) ||
           cached.node->parent == parent.node;
  }

  grpc::Status find_(const std::string& keyNs, int depth, const std::string& name,
                     const std::string& ns, const std::shared_ptr<Snode>& parent,
                     std::shared_ptr<Snode>& out);

  grpc::Status not_found_(const std::string& key, const std::string& name, const std::string& ns) {
    return this->noSchemaNode_(
        key, "Node not found in dictionary[ name: " + name + ", namespace: " + ns + " ]");
  }
};

template <unsigned Capacity>
grpc::Status GenericServiceKestrelSchemaifImpl<Capacity>::findSnode(
    const std::string& keyNs, int depth, const std::string& name, const std::string& ns,
    const std::shared_ptr<Snode>& parent, std::shared_ptr<Snode>& out) {
  try {
    return find_(keyNs, depth, name, ns, parent, out);
  } catch (const std::bad_alloc&) {
    return this->shortage_(this->kNoNode_);
  }
}

template <unsigned Capacity>
grpc::Status GenericServiceKestrelSchemaifImpl<Capacity>::find_(
    const std::string& keyNs, int depth, const std::string& name, const std::string& ns,
    const std::shared_ptr<Snode>& parent, std::shared_ptr<Snode>& out) {
  thread_local std::string key;
  this->formCacheKey_(keyNs, depth, name, key);
  if (parent == nullptr) return not_found_(key, name, ns);
  if (boost::optional<std::shared_ptr<Snode>> cached = this->cached_(key)) {
    if (belongs_to_(**cached, *parent)) {
      out = std::move(*cached);
      gpr_log(GPR_DEBUG,
              "ServiceKestrelSchemaifImpl::findSnode[ cache hit [ key: %s, plns: %s, scns: %s ] ]",
              key.c_str(), ns.c_str(), out->ns.c_str());
      return grpc::Status::OK;
    }
    this->snodeCache_.invalidate(key);
    gpr_log(GPR_DEBUG, "ServiceKestrelSchemaifImpl::findSnode[ cache invalidate [ %s ] ]",
            key.c_str());
  }

  const std::uint32_t tag = kestrel_str2hash(name.c_str());
  const std::uint32_t ns_hash = kestrel_str2hash(ns.c_str());
  gpr_log(GPR_DEBUG, "ServiceKestrelSchemaifImpl::findSnode[ cache miss [ %s ] ]", key.c_str());
  const kestrel_cs_node* child = kestrel_find_cs_node_child(parent->node, tag, ns_hash);
  if (child == nullptr) return not_found_(key, name, ns);
  std::shared_ptr<Snode> fresh;
  grpc::Status status = this->payload2Snode(ns, name, child, fresh);
  if (!status.ok()) return status;
  this->snodeCache_.insert(key, fresh);
  out = std::move(fresh);
  gpr_log(GPR_DEBUG,
          "ServiceKestrelSchemaifImpl::findSnode[ cache fill [ key: %s, plns: %s, scns: %s ] ]",
          key.c_str(), ns.c_str(), out->ns.c_str());
  return grpc::Status::OK;
}

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
