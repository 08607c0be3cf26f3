// The values of keys in paths: judged by their type, and in the forms that the rooms compare and
// store. Identities are taken in every spelling that the mode allows.
#ifndef HOST_MODEL_KEY_VALUES_H_
#define HOST_MODEL_KEY_VALUES_H_

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/target.h"

namespace nexa::model {

class KeyValues {
 public:
  // `schema` outlives the object. A lenient one takes identities also without their module, where
  // one meaning is left, and with the YANG prefix.
  KeyValues(const Schema& schema, bool lenient) : schema_(schema), lenient_(lenient) {}

  // Fills `key`, whose node and `sent` are set. False when the type does not take the value, with
  // `rule` set. Any thread.
  bool read(TargetKey& key, std::string& rule);

  // The leaf that the schema makes equal to a key of `list` (TargetKey::twin), or nothing. Any
  // thread.
  std::vector<kestrel_cs_node*> twin_of(const kestrel_cs_node* list, const TargetKey& key);

 private:
  const Schema& schema_;
  const bool lenient_;
  std::mutex mutex_;
  kestrel::ValueChecker values_;
  std::unordered_map<const kestrel_cs_node*, std::vector<kestrel_cs_node*>> twins_;
};

}  // namespace nexa::model

#endif  // HOST_MODEL_KEY_VALUES_H_
