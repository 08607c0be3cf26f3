// From the log's texts to a tree: the configuration as a commit left it.
#ifndef HOST_STORE_STORED_STATE_H_
#define HOST_STORE_STORED_STATE_H_

#include <string>

#include "store/log/commit_log.h"
#include "store/standing_defaults.h"
#include "store/tree.h"
#include "store/validation/validation.h"

namespace nexa::host {

// What the loaded schema asks of a configuration.
struct SchemaRules {
  Validator& validator;
  const StandingDefaults& standing;
};

struct StoredState {
  TreePtr tree;                // without defaults, not validated
  std::uint64_t replayed = 0;  // commits applied to the snapshot
};

// The configuration after commit `number`. False with `error`: what does not fit the loaded schema,
// or that the commit is not kept.
bool stored_state(const CommitLog& log, std::uint64_t number, StoredState& state,
                  std::string& error);

// The configuration after the newest commit, valid under the loaded schema, defaults completed.
// When the schema is another one than at the last start, `notes` says so and the log is brought up
// to it. False with `error`: one line that names the file.
bool load_state(CommitLog& log, const std::string& file, const SchemaRules& rules,
                StoredState& state, std::vector<std::string>& notes, std::string& error);

}  // namespace nexa::host

#endif  // HOST_STORE_STORED_STATE_H_
