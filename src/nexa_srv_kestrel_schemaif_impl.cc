// The callback of the start-up walk, which gives augmenting nodes their pseudo module names. The
// schema interface over kestrel is instantiated here, once.
#include "nexa/nexa_srv_kestrel_schemaif_impl.h"

#include <grpc/support/log.h>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "nexa_srv_kestrel_text.h"

namespace gnmi::rfc7951 {

grpc::Status SchemaWalkContext::schemaNodeProcess_(int depth, kestrel_cs_node* node, void* ctx) {
  auto* context = static_cast<SchemaWalkContext*>(ctx);
  if (depth > 0) {
    if (node->parent == nullptr || node->ns == node->parent->ns) return grpc::Status::OK;
    return generatePseudoEntry_(depth, node, ctx);
  }
  const std::string ns = nexa::schema_text(kestrel_hash2str(node->ns));
  context->rootYmpPrefix = context->mapper->ympPrefixFromNs_(ns);
  if (context->rootYmpPrefix.empty()) {
    return context->mapper->loadFailure_("schema node process failed to lookup root ymp");
  }
  return grpc::Status::OK;
}

grpc::Status SchemaWalkContext::generatePseudoEntry_(int depth, kestrel_cs_node* node, void* ctx) {
  auto* context = static_cast<SchemaWalkContext*>(ctx);
  std::string name = nexa::schema_text(kestrel_hash2str(node->tag));
  const std::string nspace = nexa::schema_text(kestrel_hash2str(node->ns));
  const std::string in_module = context->mapper->moduleNamePrefixFromNs_(nspace);
  const std::string ymp_prefix = context->mapper->ympPrefixFromNs_(nspace);
  if (context->origin.empty() || in_module.find(context->origin) == std::string::npos) {
    return grpc::Status::OK;
  }
  const std::string pseudo = gnmi::BaseNamespaceMapper::pseudoModuleName(
      context->origin, name, context->rootYmpPrefix, depth);
  if (!context->mapper->ympPrefixFromModuleNamePrefix_(pseudo).empty()) return grpc::Status::OK;
  context->mapper->ympPrefixByModuleName_[pseudo] = ymp_prefix;
  gpr_log(
      GPR_INFO,
      "SchemaWalkContext::generatePseudoEntry_[ inModule=%s, node=%s, nspace=%s, Entry Generated "
      "[ PseudoEntry=%s, ympPrefix=%s ], depth=%d ]",
      in_module.c_str(), name.c_str(), nspace.c_str(), pseudo.c_str(), ymp_prefix.c_str(), depth);
  return grpc::Status::OK;
}

template class GenericServiceKestrelSchemaifImpl<256>;

}  // namespace gnmi::rfc7951
