// The loaded schema as the rooms of the host see it: its names, and which record (kestrel) and
// which compiled node (libyang) are the same node. Made once, after loading.
#ifndef HOST_MODEL_SCHEMA_H_
#define HOST_MODEL_SCHEMA_H_

#include <unordered_map>

#include "model/schema_names.h"
#include "model/telemetry_hints.h"

struct lysc_node;

namespace nexa::model {

class Schema {
 public:
  // Of the schema that is loaded (kestrel/loader.h). Unchanged from then on: any thread reads.
  Schema();
  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;

  const SchemaNames& names() const { return names_; }
  const TelemetryHints& hints() const { return hints_; }

  // The same node on the other side; null for a node that only one side has, such as the
  // model-data nodes of the records and libyang's own modules.
  const lysc_node* compiled(const kestrel_cs_node* record) const;
  kestrel_cs_node* record(const lysc_node* compiled) const;

 private:
  void pair(kestrel_cs_node* record, const lysc_node* compiled);

  SchemaNames names_;
  TelemetryHints hints_;
  std::unordered_map<const kestrel_cs_node*, const lysc_node*> compiled_;
  std::unordered_map<const lysc_node*, kestrel_cs_node*> records_;
};

}  // namespace nexa::model

#endif  // HOST_MODEL_SCHEMA_H_
