// Start-up: the schema library's namespace list becomes name maps, root registry, model data and
// pseudo module names. Requests only read what stands here.
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

#include <grpc/support/log.h>

#include <algorithm>
#include <cctype>
#include <new>
#include <string_view>
#include <tuple>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "kitbase/utilities.h"
#include "nexa_srv_kestrel_text.h"

namespace nexa {
namespace {

void add_model_data(const kestrel_cs_node& node, gnmi::CapabilityResponse& response) {
  gnmi::ModelData* model = response.add_supported_models();
  for (const kestrel_meta_data* entry = node.meta_data; entry != nullptr && entry->key != nullptr;
       ++entry) {
    const std::string key = entry->key;
    if (key == ServiceKestrelNamespaceMapperImpl::GMD_MODULE_NAME_KEY) {
      model->set_name(entry->value);
    } else if (key == ServiceKestrelNamespaceMapperImpl::GMD_ORGANIZATION_KEY) {
      model->set_organization(entry->value);
    } else if (key == ServiceKestrelNamespaceMapperImpl::GMD_SEMVER_KEY) {
      model->set_version(entry->value);
    }
  }
}

// The child of this name, of whatever module; null when there is none, or more than one.
const kestrel_cs_node* only_child(const kestrel_cs_node& parent, std::uint32_t tag) {
  const kestrel_cs_node* found = nullptr;
  for (const kestrel_cs_node* child = parent.children; child != nullptr; child = child->next) {
    if (child->tag != tag) continue;
    if (found != nullptr) return nullptr;
    found = child;
  }
  return found;
}

// As every problem of populate() a want of memory is logged only; the text may find none either.
template <typename Work>
void or_shortage(ServiceKestrelNamespaceMapperImpl& mapper, Work work) {
  try {
    try {
      work();
    } catch (const std::bad_alloc&) {
      static_cast<void>(mapper.resourceShortage_("populate"));
    }
  } catch (const std::bad_alloc&) {
    gpr_log(GPR_ERROR, "Resource Unavailable [ %s ]", "populate");
  }
}

bool has_upper_case(const std::string& text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return std::isupper(c) != 0; });
}

}  // namespace

const std::string ServiceKestrelNamespaceMapperImpl::GMD_GNMI_MODEL_DATA = "gnmi-model-data";
const std::string ServiceKestrelNamespaceMapperImpl::GMD_SCHEMA_METADATA_PREFIX =
    "schema-metadata-";
const std::string ServiceKestrelNamespaceMapperImpl::GMD_MODULE_NAME_KEY = "module-name";
const std::string ServiceKestrelNamespaceMapperImpl::GMD_ORGANIZATION_KEY = "organization";
const std::string ServiceKestrelNamespaceMapperImpl::GMD_SEMVER_KEY = "semver";
bool ServiceKestrelNamespaceMapperImpl::schema_data_cached_ = false;
gnmi::CapabilityResponse ServiceKestrelNamespaceMapperImpl::cached_capability_response_;

ServiceKestrelNamespaceMapperImpl::ServiceKestrelNamespaceMapperImpl() : schemaifPtr_(&schemaif_) {}

ServiceKestrelNamespaceMapperImpl::~ServiceKestrelNamespaceMapperImpl() { clear_(); }

void ServiceKestrelNamespaceMapperImpl::clear_() {
  cached_capability_response_.Clear();
  schema_data_cached_ = false;
  gnmi::BaseNamespaceMapper::clear_();
  schemaif_.rootSnodes_.clear();
  schemaif_.snodeCache_.clear();
  nsList_ = nullptr;
}

bool ServiceKestrelNamespaceMapperImpl::isOpenconfigModel_(std::string& moduleName) {
  return kitbase::Utilities::to_lower(moduleName).find(ORIGIN_OPENCONFIG_STR) != std::string::npos;
}

grpc::Status ServiceKestrelNamespaceMapperImpl::resourceShortage_(std::string what) {
  std::string message = "Resource Unavailable [ " + what + " ]";
  gpr_log(GPR_ERROR, "%s", message.c_str());
  return {grpc::StatusCode::RESOURCE_EXHAUSTED, message};
}

grpc::Status ServiceKestrelNamespaceMapperImpl::schemaWalk_(
    const std::string& origin, std::vector<std::pair<std::string, kestrel_cs_node*>>& toBeWalked) {
  gnmi::rfc7951::SchemaWalkContext context;
  context.mapper = this;
  context.origin = origin;
  for (auto& [module, node] : toBeWalked) {
    gpr_log(GPR_DEBUG, "schemaWalk [ %s ]", module.c_str());
    context.moduleName = module;
    context.rootNode = node;
    grpc::Status status = schemaif_.walk(
        0, node, &gnmi::rfc7951::SchemaWalkContext::schemaNodeProcess_, &context, true);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

grpc::Status ServiceKestrelNamespaceMapperImpl::populate() {
  std::vector<std::pair<std::string, kestrel_cs_node*>> to_be_walked;
  nsCount_ = kestrel_get_nslist(&nsList_);
  for (std::int32_t i = 0; i < nsCount_; ++i) {
    const KestrelNsEntry& entry = nsList_[i];
    or_shortage(*this, [&] {
      const ModuleNames names = {schema_text(entry.module), schema_text(entry.prefix),
                                 schema_text(entry.uri)};
      add_names_(names);
      add_roots_(names, entry.hash, to_be_walked);
    });
  }
  schema_data_cached_ = true;
  if (to_be_walked.empty()) {
    gpr_log(GPR_ERROR, "toBeWalked: empty vector");
  } else {
    // A failed walk costs pseudo names only; the server starts without them.
    or_shortage(*this,
                [&] { static_cast<void>(schemaWalk_(ORIGIN_OPENCONFIG_STR, to_be_walked)); });
  }
  return grpc::Status::OK;
}

void ServiceKestrelNamespaceMapperImpl::add_names_(const ModuleNames& names) {
  nsByYmpPrefix_[names.prefix] = names.uri;
  ympPrefixByNs_[names.uri] = names.prefix;
  nsByModuleName_[names.module] = names.uri;
  ympPrefixByModuleName_[names.module] = names.prefix;
  if (has_upper_case(names.module)) {
    const std::string lower = kitbase::Utilities::to_lower(names.module);
    nsByModuleName_[lower] = names.uri;
    ympPrefixByModuleName_[lower] = names.prefix;
  }
  moduleNameByNs_[names.uri] = names.module;
  moduleNameByYmpPrefix_[names.prefix] = names.module;
}

void ServiceKestrelNamespaceMapperImpl::add_roots_(
    const ModuleNames& names, std::uint32_t ns_hash,
    std::vector<std::pair<std::string, kestrel_cs_node*>>& to_be_walked) {
  std::string module = names.module;
  const bool is_openconfig = isOpenconfigModel_(module);
  for (kestrel_cs_node* node = kestrel_find_cs_root(ns_hash); node != nullptr; node = node->next) {
    const std::string name = schema_text(kestrel_hash2str(node->tag));
    if ((node->flags & KESTREL_FLAG_META_DATA) != 0 && name == GMD_GNMI_MODEL_DATA) {
      add_model_data(*node, cached_capability_response_);
      continue;
    }
    if (name.compare(0, GMD_SCHEMA_METADATA_PREFIX.size(), GMD_SCHEMA_METADATA_PREFIX) == 0) {
      continue;
    }
    if (node->children != nullptr && !schemaif_.registerRootSnode(names.uri, name, node).ok()) {
      gpr_log(GPR_ERROR,
              "root node [ moduleName: %s, nodeName: %s , ns: %s ] root node registration failed",
              names.module.c_str(), name.c_str(), names.uri.c_str());
    }
    if (!is_openconfig) continue;
    to_be_walked.emplace_back(names.module, node);
    add_pseudo_root_(names, name);
  }
}

void ServiceKestrelNamespaceMapperImpl::add_pseudo_root_(const ModuleNames& names,
                                                         const std::string& root) {
  // These progress lines are at ERROR so that they appear in a server that logs errors only.
  const std::string pseudo = ORIGIN_OPENCONFIG_STR + "-" + root;
  gpr_log(GPR_ERROR,
          "ServiceKestrelNamespaceMapperImpl::populate moduleName [ %s ], pseudoModuleName [ %s ]",
          names.module.c_str(), pseudo.c_str());
  if (pseudo == names.module || ympPrefixByModuleName_.count(pseudo) != 0) return;
  gpr_log(GPR_ERROR,
          "ServiceKestrelNamespaceMapperImpl::populate add module name mapping for [ %s ]",
          pseudo.c_str());
  ympPrefixByModuleName_[pseudo] = names.prefix;
}

std::shared_ptr<Rfc7951MapperToken> ServiceKestrelNamespaceMapperImpl::newToken(
    gnmi::Origin origin) {
  return std::make_shared<Rfc7951MapperToken>(this, origin);
}

Rfc7951MapperToken::Rfc7951MapperToken(ServiceKestrelNamespaceMapperImpl* mapper,
                                       gnmi::Origin origin)
    : BaseMapperToken(mapper, origin), owner_(mapper) {}

Rfc7951MapperToken::~Rfc7951MapperToken() = default;

grpc::Status Rfc7951MapperToken::internalizePath(const gnmi::Path& in, gnmi::Path& out) {
  gnmi::Path internal;
  grpc::Status status = BaseMapperToken::internalizePath(in, internal);
  if (!status.ok()) {
    out.Clear();
    return status;
  }
  const kestrel_cs_node* node = nullptr;
  for (int i = 0; meansOpenconfig(in) && i < internal.elem_size(); ++i) {
    std::string& name = *internal.mutable_elem(i)->mutable_name();
    const bool is_bare = in.elem(i).name().find(':') == std::string::npos;
    node = i == 0 ? root_of_(name) : child_of_(*node, name, is_bare);
    if (node == nullptr) break;
  }
  out = std::move(internal);
  return grpc::Status::OK;
}

const kestrel_cs_node* Rfc7951MapperToken::root_of_(const std::string& name) const {
  std::string_view prefix;
  std::string_view local;
  gnmi::RpcMsgHelpers::extract_prefix(std::string_view(name), prefix, local);
  const std::string ns = mapper()->nsFromYmpPrefix_(std::string(prefix));
  const auto& roots = owner_->schemaif_.rootSnodes_;
  const auto found = roots.find(std::make_tuple(std::string_view(ns), local));
  return found == roots.end() ? nullptr : found->second->node;
}

const kestrel_cs_node* Rfc7951MapperToken::child_of_(const kestrel_cs_node& parent,
                                                     std::string& name, bool is_bare) const {
  std::string prefix;
  std::string local;
  gnmi::RpcMsgHelpers::extract_prefix(name, prefix, local);
  const std::uint32_t tag = kestrel_str2hash(local.c_str());
  const kestrel_cs_node* own =
      is_bare ? kestrel_find_cs_node_child(&parent, tag, parent.ns) : nullptr;
  if (own != nullptr) {
    name = local;
    return own;
  }
  if (!prefix.empty()) {
    const std::string ns = mapper()->nsFromYmpPrefix_(prefix);
    const kestrel_cs_node* named =
        kestrel_find_cs_node_child(&parent, tag, kestrel_str2hash(ns.c_str()));
    if (named != nullptr || !is_bare) return named;
  }
  const kestrel_cs_node* only = only_child(parent, tag);
  if (only == nullptr) return nullptr;
  name = mapper()->ympPrefixFromNs_(schema_text(kestrel_hash2str(only->ns))) + ":" + local;
  return only;
}

grpc::Status Rfc7951MapperToken::digestPathElement(
    SchemaIf* schemaif, const gnmi::PathElem& in, gnmi::PathElem& out, int index,
    gnmi::rfc7951::GenericPathPointer<kestrel_cs_node>& pointer) {
  using Base = gnmi::BaseNamespaceMapper::BaseMapperToken;
  return schemaif->digestPathElem<Base, &Base::externalizeExplodeName, &Base::externalizeEName>(
      schemaif, this, in, out, index, pointer);
}

}  // namespace nexa
