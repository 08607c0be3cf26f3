// The oracle of the translation layer: libyang reads the JSON directly, and reads the XML that the
// layer made of it; both trees must be equal.
#ifndef TESTS_SUPPORT_TRANSLATE_ORACLE_H_
#define TESTS_SUPPORT_TRANSLATE_ORACLE_H_

#include <libyang/libyang.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "translate/single_update.h"

namespace nexa_test {

struct FreeTree {
  void operator()(lyd_node* node) const { lyd_free_all(node); }
};
using Tree = std::unique_ptr<lyd_node, FreeTree>;

// Updates by themselves, in one mode.
class UpdateDoor {
 public:
  UpdateDoor(nexa::ServiceKestrelNamespaceMapperImpl& mapper, const nexa::model::Schema& schema,
             nexa::model::Mode mode)
      : resolver_(schema, mode), translator_(mapper, schema, mode) {}

  nexa::translate::Translation translate(const gnmi::Path& prefix, const gnmi::Update& update,
                                         nexa::translate::Operation operation,
                                         bool explain = false) {
    return nexa::translate::translate_update(resolver_, translator_, prefix, update, operation,
                                             explain);
  }
  nexa::model::Mode mode() const { return resolver_.mode(); }
  const nexa::model::Resolver& resolver() const { return resolver_; }
  nexa::translate::Translator& translator() { return translator_; }

 private:
  nexa::model::Resolver resolver_;
  nexa::translate::Translator translator_;
};

// One loaded module set with everything that a translation needs. Loading replaces the schema of
// the process, so only one may live.
class LoadedSet {
 public:
  // `error` is empty on success.
  LoadedSet(const std::vector<std::string>& folders, const std::vector<std::string>& modules,
            std::string& error);
  ~LoadedSet();

  nexa::ServiceKestrelNamespaceMapperImpl& mapper() { return *mapper_; }
  UpdateDoor& tolerant() { return *tolerant_; }
  UpdateDoor& strict() { return *strict_; }

 private:
  std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> mapper_;
  std::unique_ptr<nexa::model::Schema> schema_;
  std::unique_ptr<UpdateDoor> tolerant_;
  std::unique_ptr<UpdateDoor> strict_;
};

// What libyang's strict JSON parser makes of a whole tree.
struct JsonVerdict {
  bool accepted = false;
  std::string reason;
  Tree tree;
};
JsonVerdict read_json(const std::string& json);

// The tree of a document whose top element is `config`; null with `reason` set when libyang refuses
// it.
Tree read_config(const std::string& xml, std::string& reason);

// Adds to `tree`, which has one instance of every step of the target, the leaves that the keys of
// the entries on the way stand for (TargetKey::twin).
void add_twins(lyd_node* tree, const nexa::model::Target& target);

// Empty when the trees are equal, else both as XML.
std::string difference(const lyd_node* expected, const lyd_node* actual);

// A gNMI path from its string form; fails the test on a bad one.
gnmi::Path path_of(const std::string& text);

// An update with a JSON_IETF value.
gnmi::Update update_of(const std::string& path, const std::string& json);

std::string read_text(const std::string& file);

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_TRANSLATE_ORACLE_H_
