// The one object that knows how the device's YANG modules are named, and the token on it that each
// request has.
#ifndef NEXA_NEXA_SRV_KESTREL_NAMESPACE_MAPPER_IMPL_H_
#define NEXA_NEXA_SRV_KESTREL_NAMESPACE_MAPPER_IMPL_H_

#include <grpcpp/support/status.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gnmi.pb.h"
#include "gnmi/gnmi_base_namespace_mapper.h"
#include "gnmi/gnmi_rfc7951_defs.h"
#include "kestrel/kestrel.h"
#include "nexa/nexa_export.h"
#include "nexa/nexa_srv_kestrel_schemaif_impl.h"

namespace nexa {

// Filled once by populate(), then read by every request. populate() and clear_() write shared
// state, the static members among it, and must not run while a request uses the mapper.
class NEXA_EXPORT ServiceKestrelNamespaceMapperImpl : public gnmi::BaseNamespaceMapper {
 public:
  using SchemaIfImpl = gnmi::rfc7951::GenericServiceKestrelSchemaifImpl<256>;
  using SchemaIf = gnmi::rfc7951::GenericSchemaInterface<
      kestrel_cs_node, gnmi::rfc7951::SchemaNode<kestrel_cs_node>,
      gnmi::rfc7951::GenericPathPointer<kestrel_cs_node>, SchemaIfImpl>;

  class Rfc7951MapperToken;

  static const std::string GMD_GNMI_MODEL_DATA;
  static const std::string GMD_SCHEMA_METADATA_PREFIX;
  static const std::string GMD_MODULE_NAME_KEY;
  static const std::string GMD_ORGANIZATION_KEY;
  static const std::string GMD_SEMVER_KEY;
  static bool schema_data_cached_;
  static gnmi::CapabilityResponse cached_capability_response_;

  // Does not read the schema.
  ServiceKestrelNamespaceMapperImpl();
  ~ServiceKestrelNamespaceMapperImpl() override;

  // Reads the schema library's namespace list into the maps, the root registry, the model data of
  // the Capabilities answer (gNMI section 3.2) and the pseudo module names. Always OK; problems are
  // logged. Throws std::logic_error when the namespace list holds a null string.
  grpc::Status populate();

  // Empties everything but nsCount_.
  void clear_();

  // Whether the lower-cased module name contains the OpenConfig origin anywhere.
  bool isOpenconfigModel_(std::string& moduleName);

  // Code RESOURCE_EXHAUSTED, "Resource Unavailable [ " + what + " ]".
  grpc::Status resourceShortage_(std::string what);

  // Walks each (module name, root) pair for pseudo module names of `origin`. The first failure ends
  // the walk.
  grpc::Status schemaWalk_(const std::string& origin,
                           std::vector<std::pair<std::string, kestrel_cs_node*>>& toBeWalked);

  // A token for one request. The mapper must outlive it.
  std::shared_ptr<Rfc7951MapperToken> newToken(gnmi::Origin origin = gnmi::Origin::kNone);

  SchemaIfImpl schemaif_;
  std::int32_t nsCount_ = 0;
  KestrelNsEntry* nsList_ = nullptr;
  SchemaIf* schemaifPtr_;

 private:
  // One module in its three forms.
  struct ModuleNames {
    std::string module;
    std::string prefix;
    std::string uri;
  };

  void add_names_(const ModuleNames& names);
  void add_roots_(const ModuleNames& names, std::uint32_t ns_hash,
                  std::vector<std::pair<std::string, kestrel_cs_node*>>& to_be_walked);
  void add_pseudo_root_(const ModuleNames& names, const std::string& root);
};

// One request's handle on the mapper: names both ways, and the schema interface. Belongs to one
// thread at a time.
class NEXA_EXPORT ServiceKestrelNamespaceMapperImpl::Rfc7951MapperToken
    : public gnmi::BaseNamespaceMapper::BaseMapperToken,
      public std::enable_shared_from_this<Rfc7951MapperToken> {
 public:
  explicit Rfc7951MapperToken(ServiceKestrelNamespaceMapperImpl* mapper,
                              gnmi::Origin origin = gnmi::Origin::kNone);
  ~Rfc7951MapperToken() override;

  // The mapper's schema interface, as the concrete class and as its digestion base.
  SchemaIfImpl* schemaif() const { return &owner_->schemaif_; }
  SchemaIf* schemaifPtr() const { return owner_->schemaifPtr_; }

  // The base's translation, checked against the schema where elements come without module: such a
  // name means the child of its parent's module first, then the one that its pseudo module names,
  // then the only child of that name.
  grpc::Status internalizePath(const gnmi::Path& in, gnmi::Path& out) override;

  // Digests one element of a path (include/gnmi/gnmi_rfc7951_schema_interface.h).
  grpc::Status digestPathElement(SchemaIf* schemaif, const gnmi::PathElem& in, gnmi::PathElem& out,
                                 int index,
                                 gnmi::rfc7951::GenericPathPointer<kestrel_cs_node>& pointer);

 private:
  // The registered root of an internal name; null when there is none.
  const kestrel_cs_node* root_of_(const std::string& name) const;
  // The child that an internal name means below `parent`; null when there is none. A bare name is
  // completed, or stripped of a prefix that does not fit.
  const kestrel_cs_node* child_of_(const kestrel_cs_node& parent, std::string& name,
                                   bool is_bare) const;

  ServiceKestrelNamespaceMapperImpl* owner_;
};

using Rfc7951MapperToken = ServiceKestrelNamespaceMapperImpl::Rfc7951MapperToken;

}  // namespace nexa

#endif  // NEXA_NEXA_SRV_KESTREL_NAMESPACE_MAPPER_IMPL_H_
