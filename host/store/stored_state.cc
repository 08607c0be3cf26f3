// The log's checksums held, so what does not fit here does not fit the schema.
#include "store/stored_state.h"

#include "store/change.h"
#include "store/log/schema_stamp.h"
#include "store/node_tools.h"

namespace nexa::host {
namespace {

constexpr char kLoadOld[] = "; load the modules that it was written with";

bool apply_entry(const LogEntry& entry, TreePtr& tree, std::string& error) {
  const bool fits = entry.whole ? parse_nodes(inner_xml(entry.change), tree, error)
                                : apply_record(entry.change, tree, error);
  if (!fits) error = "commit " + std::to_string(entry.number) + ": " + error;
  return fits;
}

std::string misfit(const std::string& file, const std::string& what,
                   const std::string& difference) {
  std::string text = file + ": the stored configuration does not fit the schema: " + what;
  if (!difference.empty()) text.append(" (").append(difference).append(")");
  return text + kLoadOld;
}

}  // namespace

bool stored_state(const CommitLog& log, std::uint64_t number, StoredState& state,
                  std::string& error) {
  LogSnapshot base;
  std::vector<LogEntry> entries;
  const auto keep = [&entries](const LogEntry& entry) {
    entries.push_back(entry);
    return true;
  };
  if (!log.replay(number, base, keep, error)) return false;
  if (!parse_nodes(inner_xml(base.config), state.tree, error)) {
    error = "snapshot " + std::to_string(base.number) + ": " + error;
    return false;
  }
  for (const LogEntry& entry : entries) {
    if (!apply_entry(entry, state.tree, error)) return false;
  }
  state.replayed = entries.size();
  return true;
}

bool load_state(CommitLog& log, const std::string& file, const SchemaRules& rules,
                StoredState& state, std::vector<std::string>& notes, std::string& error) {
  const std::string stamp = schema_stamp();
  const std::string before = log.schema();
  const bool is_new = before.empty();
  const std::string difference =
      is_new || before == stamp ? std::string() : stamp_difference(before, stamp);
  std::string problem;
  if (!stored_state(log, log.head(), state, problem)) {
    error = misfit(file, problem, difference);
    return false;
  }
  std::string config;
  if (!difference.empty()) config = configuration_xml(state.tree.get());
  if (!rules.standing.add_to(state.tree)) {
    error = file + ": the defaults of the schema could not be made";
    return false;
  }
  lyd_node* top = state.tree.release();
  const Validator::Outcome outcome = rules.validator.validate_all(top);
  state.tree.reset(top);
  if (outcome.violation) {
    error = misfit(file, outcome.violation->path + ": " + outcome.violation->rule, difference);
    return false;
  }
  if (before == stamp) return true;
  if (!is_new) {
    notes.push_back("the schema changed: " + difference + "; the stored configuration fits it");
    // Validation must not have dropped what was configured, such as a node whose when is new.
    if (configuration_xml(state.tree.get()) != config) {
      error = misfit(file, "a when statement removes configured nodes", difference);
      return false;
    }
    const LogResult written = log.write_snapshot(log.head(), config, LogLimits());
    if (!written.ok()) {
      error = written.text;
      return false;
    }
  }
  const LogResult stored = log.set_schema(stamp);
  if (!stored.ok()) error = stored.text;
  return stored.ok();
}

}  // namespace nexa::host
