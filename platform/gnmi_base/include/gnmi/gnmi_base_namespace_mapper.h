// Names of YANG modules in their three forms (module name, declared prefix, namespace URI) and the
// per-request handle that translates paths and values between the external form (RFC 7951: module
// names) and the internal form (declared prefixes).
#ifndef GNMI_GNMI_BASE_NAMESPACE_MAPPER_H_
#define GNMI_GNMI_BASE_NAMESPACE_MAPPER_H_

#include <grpcpp/support/status.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "gnmi.pb.h"
#include "gnmi/gnmi_export.h"

namespace gnmi {

// What a name that is translated stands for. A bare name of any kind stays as it is.
enum EN_ARG {
  EN_ARG_ELEMENT = 0,  // a path element or a key name
  EN_ARG_NAME = 1,     // a member name or an identity of a payload
};

// Origins of a path (gNMI path conventions), in the order of BaseNamespaceMapper::originName_.
enum class Origin : std::uint32_t { kNone = 0, kOpenconfig = 1, kRfc7951 = 2 };

class GNMI_EXPORT BaseNamespaceMapper {
 public:
  class BaseMapperToken;

  static const std::string ORIGIN_OPENCONFIG_STR;  // "openconfig"
  static const std::array<std::string, 3> originName_;

  BaseNamespaceMapper();
  virtual ~BaseNamespaceMapper();
  BaseNamespaceMapper(const BaseNamespaceMapper&) = delete;
  BaseNamespaceMapper& operator=(const BaseNamespaceMapper&) = delete;

  // Look-ups; an empty string for an unknown key. Read only: any thread after the maps are filled.
  std::string nsFromYmpPrefix_(const std::string& prefix) const;
  std::string ympPrefixFromNs_(const std::string& ns) const;
  std::string nsFromModuleNamePrefix_(const std::string& module) const;
  std::string moduleNamePrefixFromNs_(const std::string& ns) const;
  std::string ympPrefixFromModuleNamePrefix_(const std::string& module) const;
  std::string moduleNameFromYmpPrefix_(const std::string& prefix) const;

  // The module name under which a node below a root can be found that a path names without a
  // module: one distinct name for each (origin, root prefix, depth, node name), whatever characters
  // they have.
  static std::string pseudoModuleName(const std::string& origin, std::string& nodeName,
                                      std::string& ympPrefix, int depth);

  // Code INTERNAL, "Load failure [ " + what + " ]", logged at ERROR.
  grpc::Status loadFailure_(std::string what);

  // Empties the six maps and sets version_ back.
  void clear_();

  std::int32_t version_;
  std::map<std::string, std::string> nsByYmpPrefix_;
  std::map<std::string, std::string> ympPrefixByNs_;
  std::map<std::string, std::string> nsByModuleName_;
  std::map<std::string, std::string> moduleNameByNs_;
  std::map<std::string, std::string> ympPrefixByModuleName_;
  std::map<std::string, std::string> moduleNameByYmpPrefix_;
};

namespace detail {

// The class that a pointer to member function belongs to.
template <typename Member>
struct MemberOwner;
template <typename Result, typename Owner, typename... Arguments>
struct MemberOwner<Result (Owner::*)(Arguments...)> {
  using type = Owner;
};

}  // namespace detail

// One request's view of the mapper. Belongs to one thread at a time; the mapper must outlive it.
class GNMI_EXPORT BaseNamespaceMapper::BaseMapperToken {
 public:
  explicit BaseMapperToken(const BaseNamespaceMapper* mapper, Origin origin = Origin::kNone);
  BaseMapperToken(const BaseMapperToken&) = delete;
  BaseMapperToken& operator=(const BaseMapperToken&) = delete;

  // Splits the member name of a payload's top level: `prefix` the internal prefix, `bare` the local
  // name, `ns` the namespace. A bare name is found through its pseudo module name. Code
  // INVALID_ARGUMENT when the module is unknown; the outputs are then empty.
  virtual grpc::Status internalizeVName(const std::string& name, std::string& prefix,
                                        std::string& bare, std::string& ns);
  virtual ~BaseMapperToken();

  // "module:local" to "prefix:local". A bare name stays. Code INVALID_ARGUMENT for an unknown
  // module; `out` then holds `name` unchanged. `flags` is reserved.
  grpc::Status internalizeEName(const std::string& name, std::string& out, EN_ARG kind, int flags);
  grpc::Status internalizeEName(const std::string& name, std::string& out, int kind, int flags) {
    return internalizeEName(name, out, static_cast<EN_ARG>(kind), flags);
  }

  // "prefix:local" to "module:local"; a module name in front is accepted too, and comes out as the
  // module spells it. A bare name stays. Code INVALID_ARGUMENT for an unknown prefix; `out` then
  // holds `name` unchanged.
  grpc::Status externalizeEName(const std::string& name, std::string& out, EN_ARG kind, int flags);

  // externalizeEName, and the parts: `ns` empty when the name has no prefix.
  grpc::Status externalizeExplodeName(const std::string& name, std::string& external,
                                      std::string& ns, std::string& bare);

  // Splits a value "module:rest" into the internal prefix, the rest, the namespace and
  // "prefix:rest". A text whose part before the first colon is no module name is a plain value: it
  // succeeds, unchanged, with empty prefix and namespace. Fails with INTERNAL only when a module
  // has no namespace. `value_no_prefix` and `value_with_prefix` hold the text. `flags` is reserved.
  grpc::Status internalizeExplodeValue(const std::string& value, std::string& prefix,
                                       std::string& value_no_prefix, std::string& ns,
                                       std::string& value_with_prefix, int flags);

  // External path to internal path, element by element: module names become prefixes, in key names
  // too. In a path of origin "openconfig" or none, an element without module gets the prefix of its
  // pseudo module where one is known. Key values, target and origin are copied. The first unknown
  // module is refused with INVALID_ARGUMENT and a text that names module and element; `out` is then
  // cleared. `in` and `out` may be one object. Works by names alone; a token that knows the schema
  // may do better.
  virtual grpc::Status internalizePath(const gnmi::Path& in, gnmi::Path& out);

  using ExternalizeName = grpc::Status (BaseMapperToken::*)(const std::string&, std::string&,
                                                            EN_ARG, int);
  using ExplodeName = grpc::Status (BaseMapperToken::*)(const std::string&, std::string&,
                                                        std::string&, std::string&);

  // Sets out.origin, unless the origin is fixed, and appends each element of `in` with its name and
  // key names translated. The first failure clears out's elements and is returned.
  template <ExternalizeName Name>
  grpc::Status transformPath(const gnmi::Path& in, gnmi::Path& out);

  // Copies the keys of `in` with their names translated; a failure is returned at once.
  template <ExternalizeName Name>
  grpc::Status transformKeys(const gnmi::PathElem& in, gnmi::PathElem& out);

  // Sets out.origin, unless the origin is fixed, then digests each element of `in` into a new
  // element of `out` with the token's `Digest`. Returns the status of the last element: an earlier
  // failure followed by a success is not reported, and callers rely on that.
  template <typename SchemaInterface, typename PathPointer, auto Digest>
  grpc::Status digestPath(SchemaInterface* schemaif, const gnmi::Path& in, PathPointer& pointer,
                          gnmi::Path& out);

  // Whether a path of this origin means OpenConfig nodes by names without module.
  static bool meansOpenconfig(const gnmi::Path& path) {
    return path.origin().empty() || path.origin() == ORIGIN_OPENCONFIG_STR;
  }

  const BaseNamespaceMapper* mapper() const { return mapper_; }

  bool origin_fixed_ = false;  // set: the origin of a translated path is left alone
  std::uint32_t origin_index_ = 0;

 private:
  void set_origin_(gnmi::Path& out) const {
    if (!origin_fixed_) out.set_origin(originName_.at(origin_index_));
  }

  // The prefix of a node that a path names without module; empty when none is known.
  std::string pseudoPrefix_(std::string name, std::string root_prefix, int depth) const;
  // Key names in internal form; `failed` is the name that was tried last.
  grpc::Status internalizeKeys_(const gnmi::PathElem& in, gnmi::PathElem& out, std::string& failed);

  const BaseNamespaceMapper* mapper_;
};

template <BaseNamespaceMapper::BaseMapperToken::ExternalizeName Name>
grpc::Status BaseNamespaceMapper::BaseMapperToken::transformKeys(const gnmi::PathElem& in,
                                                                 gnmi::PathElem& out) {
  std::string name;
  for (const auto& [key, value] : in.key()) {
    grpc::Status status = (this->*Name)(key, name, EN_ARG_ELEMENT, 0);
    if (!status.ok()) return status;
    (*out.mutable_key())[name] = value;
  }
  return grpc::Status::OK;
}

template <BaseNamespaceMapper::BaseMapperToken::ExternalizeName Name>
grpc::Status BaseNamespaceMapper::BaseMapperToken::transformPath(const gnmi::Path& in,
                                                                 gnmi::Path& out) {
  set_origin_(out);
  for (const gnmi::PathElem& element : in.elem()) {
    gnmi::PathElem* added = out.add_elem();
    grpc::Status status = (this->*Name)(element.name(), *added->mutable_name(), EN_ARG_ELEMENT, 0);
    if (status.ok() && element.key_size() > 0) status = transformKeys<Name>(element, *added);
    if (!status.ok()) {
      out.clear_elem();
      return status;
    }
  }
  return grpc::Status::OK;
}

template <typename SchemaInterface, typename PathPointer, auto Digest>
grpc::Status BaseNamespaceMapper::BaseMapperToken::digestPath(SchemaInterface* schemaif,
                                                              const gnmi::Path& in,
                                                              PathPointer& pointer,
                                                              gnmi::Path& out) {
  using Token = typename detail::MemberOwner<decltype(Digest)>::type;
  set_origin_(out);
  out.mutable_elem()->Reserve(out.elem_size() + in.elem_size());
  grpc::Status status = grpc::Status::OK;
  for (int index = 0; index < in.elem_size(); ++index) {
    status = (static_cast<Token*>(this)->*Digest)(schemaif, in.elem(index), *out.add_elem(), index,
                                                  pointer);
  }
  return status;
}

}  // namespace gnmi

#endif  // GNMI_GNMI_BASE_NAMESPACE_MAPPER_H_
