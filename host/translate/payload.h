// A JSON payload judged against the schema: every member resolved to its node, every value checked,
// list keys in front. Builds nothing; which library calls follow is not its business.
#ifndef HOST_TRANSLATE_PAYLOAD_H_
#define HOST_TRANSLATE_PAYLOAD_H_

#include <grpcpp/support/status.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "kestrel/values.h"
#include "model/target.h"
#include "translate/json_scanner.h"

namespace nexa::translate {

using model::is_any_data;
using model::is_leaf;
using model::is_leaf_list;
using model::is_list;
using model::local_name;
using model::NamedNode;
using model::NameRules;
using model::SchemaNames;
using PathKey = model::TargetKey;
using PathStep = model::TargetNode;

// What an item of the payload stands for.
enum class Role : std::uint8_t {
  kNone,       // carries no data: an empty array, a key that the path gives
  kContainer,  // also the entry of a list
  kArray,      // of list entries or leaf-list entries
  kLeaf,       // also the entry of a leaf-list
  kAnyData,
  kOpaque,  // below anydata, without a schema node
};

// The reading of one item; parallel to JsonDocument::items.
struct Reading {
  kestrel_cs_node* node = nullptr;
  Role role = Role::kNone;
  std::uint32_t stored = 0;  // index into Payload::stored; 0: the text as sent
};

class Payload {
 public:
  Payload(const SchemaNames& names, kestrel::ValueChecker& values, bool strict,
          std::vector<std::string>* notes);

  // Scans `text`, which must outlive this object.
  grpc::Status scan(std::string_view text);

  // Reads the document as the value of the path's last step. A list or leaf-list entry that the
  // path names reads as an array of one entry, with the keys of the path in it.
  grpc::Status read_value(const PathStep& step);

  // Reads the document as the value of a key that the path has named already.
  grpc::Status read_key(const PathKey& key);

  // Reads the document as an object of top-level members, each in `top_members()`.
  grpc::Status read_tree();

  std::vector<std::uint32_t> members(std::uint32_t item) const;

  std::string_view text_of(std::uint32_t item) const;

  JsonDocument document;
  std::vector<Reading> readings;
  std::vector<kestrel::StoredText> stored;
  std::uint32_t root = kNoItem;  // the value's item; an array for a list

 private:
  grpc::Status refuse(std::uint32_t item, const std::string& rule) const;
  std::string member_path(std::uint32_t item) const;
  void append_entry_keys(std::uint32_t entry, std::string& path) const;
  std::string shown(std::uint32_t item) const;
  std::string shown_rule(std::uint32_t item, std::string rule) const;
  void note(std::uint32_t item, const std::string& text) const;

  // `like` is an item that was read before and probably has the same members, or kNoItem: entries
  // of a list repeat their names, and a name seen at that place needs no look-up.
  grpc::Status read(std::uint32_t item, kestrel_cs_node* node, std::uint32_t like = kNoItem);
  grpc::Status read_members(std::uint32_t item, kestrel_cs_node* node,
                            std::uint32_t like = kNoItem);
  grpc::Status read_member(std::uint32_t item, const kestrel_cs_node* parent,
                           std::uint32_t like = kNoItem);
  grpc::Status read_array(std::uint32_t item, kestrel_cs_node* node);
  grpc::Status read_entry(std::uint32_t item, kestrel_cs_node* node, std::uint32_t like);
  grpc::Status read_leaf(std::uint32_t item, kestrel_cs_node* node);
  bool is_as_before(std::uint32_t item, kestrel_cs_node* node);
  grpc::Status read_any(std::uint32_t item, kestrel_cs_node* node);
  grpc::Status read_any_member(std::uint32_t item);
  grpc::Status read_opaque(std::uint32_t item);
  grpc::Status read_path_entry(const PathStep& step);
  grpc::Status agree(std::uint32_t item, const PathKey& key) const;
  grpc::Status check_duplicates(std::uint32_t item) const;
  grpc::Status order_keys(std::uint32_t item, const kestrel_cs_node* node);
  bool scalar_form(std::uint32_t item, std::string_view& text, kestrel::Written& written,
                   std::string& rule);
  std::uint32_t add_key_item(std::uint32_t entry, const PathKey& key);

  const SchemaNames& names_;
  kestrel::ValueChecker& values_;
  const bool strict_;
  std::vector<std::string>* notes_;
  kestrel::StoredText scratch_;
  // The last value that each leaf took: entries of a list repeat values, and judging one again, by
  // its patterns or as an identity, costs more than comparing it.
  std::unordered_map<const kestrel_cs_node*, std::uint32_t> last_taken_;
};

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_PAYLOAD_H_
