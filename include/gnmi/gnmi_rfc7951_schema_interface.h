// The schema interface: registry of root nodes, cached look-up, schema walk, and the digestion of
// one path element. Templates over the schema library's node; the library instantiates them once.
#ifndef GNMI_GNMI_RFC7951_SCHEMA_INTERFACE_H_
#define GNMI_GNMI_RFC7951_SCHEMA_INTERFACE_H_

#include <grpc/support/log.h>
#include <grpcpp/support/status.h>

#include <array>
#include <boost/optional.hpp>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "gnmi.pb.h"
#include "gnmi/gnmi_base_namespace_mapper.h"
#include "gnmi/gnmi_rfc7951_defs.h"
#include "kestrel/kestrel.h"
#include "kitbase/lru_cache.h"

namespace gnmi::rfc7951 {

// What the registry is keyed by: (namespace URI, element name).
using RootKey = std::tuple<std::string, std::string>;

// Both take any pair of texts that a key can be compared with, so that a look-up copies none.
struct key_hash {
  using is_transparent = void;
  template <typename Key>
  std::size_t operator()(const Key& key) const {
    // Equal texts have equal hashes, whatever type they come in.
    const std::hash<std::string_view> hash;
    return hash(std::get<0>(key)) ^ hash(std::get<1>(key));
  }
};

struct key_equal {
  using is_transparent = void;
  template <typename Left, typename Right>
  bool operator()(const Left& left, const Right& right) const {
    return left == right;
  }
};

// Registry, cache and walk. Registration and the walk run at start-up; look-ups change the cache,
// so one thread at a time may use an object. Failures are INTERNAL and logged at ERROR.
template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
class GenericSchemaInterfaceImpl {
 public:
  using Transform = grpc::Status (*)(const CsNode*, std::shared_ptr<NodeVariant_t>&);
  using SnodePtr = std::shared_ptr<Snode>;
  using WalkFn = grpc::Status (*)(int, CsNode*, void*);

  GenericSchemaInterfaceImpl() : transform_(&Helper::transform), snodeCache_(Capacity) {
    rootSnodes_.max_load_factor(1.0F);
  }

  // Registers a root under (namespace, name). A second one of the same pair is refused.
  grpc::Status registerRootSnode(const std::string& ns, const std::string& name,
                                 const CsNode* node);

  // Calls `fn` for `node`, its subtree and its following siblings with theirs, in pre-order; the
  // first failure ends the walk. A null node is an error only where the walk starts.
  grpc::Status walk(int depth, CsNode* node, WalkFn fn, void* ctx, bool start);

  // The registered root, shared.
  grpc::Status ns2RootSnode(const std::string& ns, const std::string& name, SnodePtr& out);

  // A new shared node of known kind for `node`; `out` is empty after a failure.
  grpc::Status payload2Snode(const std::string& ns, const std::string& name, const CsNode* node,
                             SnodePtr& out);

  // ns + "__" + depth + "__" + name.
  std::string formCacheKey(const std::string& ns, int depth, const std::string& name);

  // The cached node, as a new shared reference; none when absent. Throws std::bad_weak_ptr for a
  // node that no shared pointer owns.
  boost::optional<SnodePtr> getSnodeFroCache(std::string key);

  // The same two, on texts whose storage is reused.
  boost::optional<SnodePtr> cached_(const std::string& key);
  static void formCacheKey_(const std::string& ns, int depth, const std::string& name,
                            std::string& key);

  grpc::Status noSchemaNode_(const std::string& ns, std::string msg);
  grpc::Status nsCollision_(const std::string& ns, std::string msg);
  grpc::Status internalError_(std::string msg);
  // internalError_() for want of memory, of which the text may find none either: the status is
  // without it then.
  grpc::Status shortage_(const char* msg);

  // What is said of a node that there is no memory for, here and by whoever looks one up.
  static constexpr char kNoNode_[] =
      "GenericSchemaInterfaceImpl::payload2Snode ---> leave(alloc failed(sn))";

  Transform transform_;
  std::unordered_map<RootKey, SnodePtr, key_hash, key_equal> rootSnodes_;
  kitbase::lru_cache<std::string, SnodePtr> snodeCache_;

 private:
  static grpc::Status refuse_(std::string message) {
    gpr_log(GPR_ERROR, "%s", message.c_str());
    return {grpc::StatusCode::INTERNAL, message};
  }

  // A node of known kind, or none. `no_kind` is told when the node was made and its kind was not.
  template <typename NoKind>
  grpc::Status make_(const std::string& ns, const std::string& name, const CsNode* node,
                     const char* no_node, NoKind no_kind, SnodePtr& out) {
    out = Snode::create(ns, name, node);
    if (out == nullptr) return shortage_(no_node);
    grpc::Status status;
    try {
      status = transform_(node, out->nodeVariant);
    } catch (const std::bad_alloc&) {
      status = shortage_(no_node);
    }
    if (status.ok()) return status;
    out.reset();
    no_kind();
    return status;
  }
};

// The digestion side. `Concrete` is the class that has the look-ups; its operations are called
// statically.
template <typename CsNode, typename Snode, typename PathPointer, typename Concrete>
class GenericSchemaInterface {
 public:
  // Digests one path element: names it in external form in `out`, resolves it below the pointer's
  // node (below the registry for the first element), and moves the pointer. Code INTERNAL on
  // failure; the pointer then keeps the last good element.
  template <typename Token, auto ExplodeName, auto ExternalName>
  grpc::Status digestPathElem(GenericSchemaInterface* schemaif, Token* token,
                              const gnmi::PathElem& in, gnmi::PathElem& out, int index,
                              PathPointer& pointer);

 private:
  // The registered root that the pointer's name means in `ns`.
  grpc::Status resolve_root_(Concrete& concrete, const std::string& ns, PathPointer& pointer,
                             std::shared_ptr<Snode>& sn);
  // The child of the pointer's node that the pointer's name means; without a namespace of its own
  // the name belongs to its parent's.
  grpc::Status resolve_child_(Concrete& concrete, const std::string& own_ns, int index,
                              const PathPointer& pointer, std::shared_ptr<Snode>& sn);
};

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode,
                                        PathPointer>::noSchemaNode_(const std::string& ns,
                                                                    std::string msg) {
  return refuse_("SchemaNode lookup failed [ namespace: " + ns + " ] : " + msg);
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::nsCollision_(
    const std::string& ns, std::string msg) {
  return refuse_("Collision [ namespace: " + ns + " ] : " + msg);
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode,
                                        PathPointer>::internalError_(std::string msg) {
  return refuse_("InternalError [ " + msg + " ]");
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::shortage_(
    const char* msg) {
  try {
    return internalError_(msg);
  } catch (const std::bad_alloc&) {
    gpr_log(GPR_ERROR, "InternalError [ %s ]", msg);
    return {grpc::StatusCode::INTERNAL, ""};
  }
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode,
                                        PathPointer>::registerRootSnode(const std::string& ns,
                                                                        const std::string& name,
                                                                        const CsNode* node) {
  gpr_log(GPR_DEBUG,
          "GenericSchemaInterfaceImpl::registerRootSnode ---> enter ns [ %s ] name [ %s ]",
          ns.c_str(), name.c_str());
  constexpr char kNoNode[] =
      "GenericSchemaInterfaceImpl::registerRootSnode ---> leave(alloc failed(sn))";
  try {
    if (rootSnodes_.find(std::tie(ns, name)) != rootSnodes_.end()) {
      return nsCollision_(ns, "Unexpected duplicate namespace");
    }
    // The entry is made last: whatever fails before leaves none.
    SnodePtr made;
    const auto no_kind = [] {
      gpr_log(GPR_DEBUG,
              "GenericSchemaInterfaceImpl::registerRootSnode ---> leave(alloc failed(nv))");
    };
    grpc::Status status = make_(ns, name, node, kNoNode, no_kind, made);
    if (!status.ok()) return status;
    rootSnodes_.emplace(RootKey(ns, name), std::move(made));
  } catch (const std::bad_alloc&) {
    return shortage_(kNoNode);
  }
  gpr_log(GPR_INFO,
          "GenericSchemaInterfaceImpl::registerRootSnode[ namespace %s, element %s ] ---> "
          "leave(success)",
          ns.c_str(), name.c_str());
  return grpc::Status::OK;
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::walk(
    int depth, CsNode* node, WalkFn fn, void* ctx, bool start) {
  if (node == nullptr) {
    if (depth == 0 && start) return noSchemaNode_("root", "walkSchema::Undefined start node");
    return grpc::Status::OK;
  }
  // Siblings are walked in this loop and only children recurse, so the depth of the stack is the
  // depth of the schema.
  for (; node != nullptr; node = node->next) {
    grpc::Status status = fn(depth, node, ctx);
    if (!status.ok()) return status;
    status = walk(depth + 1, node->children, fn, ctx, false);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::ns2RootSnode(
    const std::string& ns, const std::string& name, SnodePtr& out) {
  gpr_log(GPR_DEBUG, "GenericSchemaInterfaceImpl::ns2RootSnode ---> enter ns [ %s ] name [ %s ]",
          ns.c_str(), name.c_str());
  const auto found = rootSnodes_.find(std::tie(ns, name));
  if (found == rootSnodes_.end()) return noSchemaNode_(ns, "Root Schema Node Lookup Failed");
  out = found->second->share();
  return grpc::Status::OK;
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
grpc::Status
GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::payload2Snode(
    const std::string& ns, const std::string& name, const CsNode* node, SnodePtr& out) {
  const auto no_kind = [] {
    gpr_log(GPR_ERROR, "GenericSchemaInterfaceImpl::payload2Snode ---> leave(alloc failed(nv))");
  };
  return make_(ns, name, node, kNoNode_, no_kind, out);
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
std::string GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::formCacheKey(
    const std::string& ns, int depth, const std::string& name) {
  std::string key;
  formCacheKey_(ns, depth, name, key);
  return key;
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
void GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::formCacheKey_(
    const std::string& ns, int depth, const std::string& name, std::string& key) {
  std::array<char, 12> digits;  // "-2147483648" fits
  const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), depth).ptr;
  const std::string_view depth_text(digits.data(), static_cast<std::size_t>(end - digits.data()));
  key.clear();
  key.reserve(ns.size() + depth_text.size() + name.size() + 4);
  key.append(ns).append("__").append(depth_text).append("__").append(name);
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
boost::optional<
    typename GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::SnodePtr>
GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::getSnodeFroCache(
    std::string key) {
  return cached_(key);
}

template <unsigned Capacity, typename Unused, typename CsNode, typename Snode, typename PathPointer>
boost::optional<
    typename GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::SnodePtr>
GenericSchemaInterfaceImpl<Capacity, Unused, CsNode, Snode, PathPointer>::cached_(
    const std::string& key) {
  const SnodePtr* cached = snodeCache_.touch(key);
  if (cached == nullptr) return boost::none;
  return (*cached)->share();
}

template <typename CsNode, typename Snode, typename PathPointer, typename Concrete>
grpc::Status GenericSchemaInterface<CsNode, Snode, PathPointer, Concrete>::resolve_root_(
    Concrete& concrete, const std::string& ns, PathPointer& pointer, std::shared_ptr<Snode>& sn) {
  const std::string& name = pointer.name;
  if (ns.empty()) {
    return concrete.internalError_("root element unknown namespace  [ " + name + " ]");
  }
  pointer.rootNs = ns;
  grpc::Status status = concrete.ns2RootSnode(ns, name, sn);
  if (!status.ok()) return status;
  // Roots take part in the order of use although the registry alone answers for them.
  thread_local std::string key;
  concrete.formCacheKey_(ns, 0, name, key);
  if (concrete.snodeCache_.touch(key) == nullptr) concrete.snodeCache_.insert(key, sn);
  gpr_log(GPR_DEBUG, "digestPathElem[ initial element [ name: %s ]]", name.c_str());
  return grpc::Status::OK;
}

template <typename CsNode, typename Snode, typename PathPointer, typename Concrete>
grpc::Status GenericSchemaInterface<CsNode, Snode, PathPointer, Concrete>::resolve_child_(
    Concrete& concrete, const std::string& own_ns, int index, const PathPointer& pointer,
    std::shared_ptr<Snode>& sn) {
  const Snode* parent = pointer.snode.get();
  const std::string& ns = own_ns.empty() && parent != nullptr ? parent->ns : own_ns;
  gpr_log(GPR_DEBUG, "digestPathElem[ subsequent element - pre findSnode ]");
  grpc::Status status =
      concrete.findSnode(pointer.rootNs, index, pointer.name, ns, pointer.snode, sn);
  if (status.ok()) {
    gpr_log(GPR_DEBUG, "digestPathElem[ subsequent element - post findSnode [ success ] ]");
  }
  return status;
}

template <typename CsNode, typename Snode, typename PathPointer, typename Concrete>
template <typename Token, auto ExplodeName, auto ExternalName>
grpc::Status GenericSchemaInterface<CsNode, Snode, PathPointer, Concrete>::digestPathElem(
    GenericSchemaInterface* schemaif, Token* token, const gnmi::PathElem& in, gnmi::PathElem& out,
    int index, PathPointer& pointer) {
  Concrete& concrete = static_cast<Concrete&>(*schemaif);
  std::string external;
  std::string ns;
  std::string bare;
  grpc::Status status = (token->*ExplodeName)(in.name(), external, ns, bare);
  if (!status.ok()) return status;
  gpr_log(GPR_DEBUG, "digestPathElem[ name: %s ] ---> enter", bare.c_str());
  out.set_name(std::move(external));
  pointer.name = std::move(bare);

  const bool has_keys = in.key_size() > 0;
  if (has_keys) {
    status = token->template transformKeys<ExternalName>(in, out);
    if (!status.ok() || out.key_size() != in.key_size()) {
      return concrete.internalError_("transform keys failed [ " + pointer.name + " ]");
    }
  }

  std::shared_ptr<Snode> sn;
  status = pointer.index == -1 ? resolve_root_(concrete, ns, pointer, sn)
                               : resolve_child_(concrete, ns, index, pointer, sn);
  if (!status.ok()) return status;
  status = pointer.set_snode(std::move(sn), has_keys);
  if (!status.ok()) return status;
  pointer.index = index;
  gpr_log(GPR_DEBUG, "digestPathElem[ name: %s ] ---> leave", pointer.name.c_str());
  return grpc::Status::OK;
}

}  // namespace gnmi::rfc7951

#endif  // GNMI_GNMI_RFC7951_SCHEMA_INTERFACE_H_
