// Child look-up through the cache, and the callback of the start-up walk. The templates of the schema
// interface are instantiated here, once.
#include "nexa/nexa_srv_kestrel_schemaif_impl.h"

#include <grpc/support/log.h>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace gnmi::rfc7951 {

template <unsigned Capacity>
grpc::Status GenericServiceKestrelSchemaifImpl<Capacity>::findSnode(
    const std::string& keyNs, int depth, const std::string& name, const std::string& ns,
    const std::shared_ptr<Snode>& parent, std::shared_ptr<Snode>& out) {
  const std::string key = this->formCacheKey(keyNs, depth, name);
  const boost::optional<std::shared_ptr<Snode>> cached = this->getSnodeFroCache(key);
  if (cached) {
    const Snode& hit = **cached;
    // The key does not name the parent. The first test compares with the parent itself; digestion of
    // a node that repeats its parent's name relies on it.
    if ((hit.ns == parent->ns && hit.name == parent->name) || hit.node->parent == parent->node) {
      out = *cached;
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
  if (child == nullptr) {
    return this->noSchemaNode_(
        key, "Node not found in dictionary[ name: " + name + ", namespace: " + ns + " ]");
  }
  std::shared_ptr<Snode> fresh;
  grpc::Status status = this->payload2Snode(ns, name, child, fresh);
  if (!status.ok()) return status;
  this->snodeCache_.insert(key, fresh);
  const boost::optional<std::shared_ptr<Snode>> filled = this->getSnodeFroCache(key);
  if (filled) {
    out = *filled;
    gpr_log(GPR_DEBUG,
            "ServiceKestrelSchemaifImpl::findSnode[ cache fill [ key: %s, plns: %s, scns: %s ] ]",
            key.c_str(), ns.c_str(), out->ns.c_str());
  }
  return grpc::Status::OK;
}

grpc::Status SchemaWalkContext::schemaNodeProcess_(int depth, kestrel_cs_node* node, void* ctx) {
  auto* context = static_cast<SchemaWalkContext*>(ctx);
  if (depth > 0) {
    if (node->parent == nullptr || node->ns == node->parent->ns) return grpc::Status::OK;
    return generatePseudoEntry_(depth, node, ctx);
  }
  const std::string ns = kestrel_hash2str(node->ns);
  context->rootYmpPrefix = context->mapper->ympPrefixFromNs_(ns);
  if (context->rootYmpPrefix.empty()) {
    return context->mapper->loadFailure_("schema node process failed to lookup root ymp");
  }
  return grpc::Status::OK;
}

grpc::Status SchemaWalkContext::generatePseudoEntry_(int depth, kestrel_cs_node* node, void* ctx) {
  auto* context = static_cast<SchemaWalkContext*>(ctx);
  std::string name = kestrel_hash2str(node->tag);
  const std::string nspace = kestrel_hash2str(node->ns);
  const std::string in_module = context->mapper->moduleNamePrefixFromNs_(nspace);
  const std::string ymp_prefix = context->mapper->ympPrefixFromNs_(nspace);
  if (context->origin.empty() || in_module.find(context->origin) == std::string::npos) {
    return grpc::Status::OK;
  }
  const std::string pseudo = gnmi::BaseNamespaceMapper::pseudoModuleName(
      context->origin, name, context->rootYmpPrefix, depth);
  if (!context->mapper->ympPrefixFromModuleNamePrefix_(pseudo).empty()) return grpc::Status::OK;
  context->mapper->ympPrefixByModuleName_[pseudo] = ymp_prefix;
  gpr_log(GPR_INFO,
          "SchemaWalkContext::generatePseudoEntry_[ inModule=%s, node=%s, nspace=%s, Entry Generated "
          "[ PseudoEntry=%s, ympPrefix=%s ], depth=%d ]",
          in_module.c_str(), name.c_str(), nspace.c_str(), pseudo.c_str(), ymp_prefix.c_str(), depth);
  return grpc::Status::OK;
}

template class GenericServiceKestrelSchemaifImpl<256>;

}  // namespace gnmi::rfc7951
