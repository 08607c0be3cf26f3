// The log's checksums held, so what does not fit here does not fit the schema.
#include "store/stored_state.h"

#include "store/change.h"
#include "store/change_reading.h"
#include "store/image/image_import.h"
#include "store/image/image_text.h"
#include "store/log/log_rows.h"
#include "store/schema_content.h"

namespace nexa::store {
namespace {

bool read_configuration(std::string_view xml, ImagePtr& image, std::string& error) {
  TreePtr tree;
  if (!parse_nodes(inner_xml(xml), tree, error)) return false;
  image = image_of_tree(tree.get());
  return true;
}

}  // namespace

bool apply_entry(const LogEntry& entry, ImagePtr& image, std::string& error) {
  const bool fits = entry.whole ? read_configuration(entry.change, image, error)
                                : apply_change(entry.change, image, error);
  if (!fits) error = "commit " + std::to_string(entry.number) + ": " + error;
  return fits;
}

std::string loaded_schema_hash() { return schema_content_digest(); }

bool newest_image_state(const CommitLog& log, StoredState& state, std::string& error) {
  LogSnapshot base;
  if (!log.newest_image(loaded_schema_hash(), base)) return false;
  state.image = empty_image();
  if (!apply_text(base.image, state.image, error)) {
    error = "image " + std::to_string(base.number) + ": " + error;
    return false;
  }
  bool has_effects = true;
  const auto apply = [&](const LogEntry& entry) {
    has_effects = !entry.effect.empty();
    if (!has_effects) return false;
    ++state.replayed;
    if (apply_text(entry.effect, state.image, error)) return true;
    error = "commit " + std::to_string(entry.number) + ": " + error;
    return false;
  };
  if (!log.replay_after(base.number, apply, error) || !has_effects || !error.empty()) return false;
  state.complete = true;
  state.judged = base.judged && state.replayed == 0;
  return true;
}

bool configured_state(const CommitLog& log, std::uint64_t number, StoredState& state,
                      std::string& error) {
  LogSnapshot base;
  std::vector<LogEntry> entries;
  const auto keep = [&entries](const LogEntry& entry) {
    entries.push_back(entry);
    return true;
  };
  if (!log.replay(number, base, keep, error)) return false;
  if (!read_configuration(base.config, state.image, error)) {
    error = "snapshot " + std::to_string(base.number) + ": " + error;
    return false;
  }
  for (const LogEntry& entry : entries) {
    if (!apply_entry(entry, state.image, error)) return false;
  }
  state.replayed = entries.size();
  return true;
}

}  // namespace nexa::store
