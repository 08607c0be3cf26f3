// What does a store begin with? The newest configuration that the log has, completed under the
// loaded schema, with what is to be said about it.
#ifndef HOST_STORE_STORE_START_H_
#define HOST_STORE_STORE_START_H_

#include <string>
#include <vector>

#include "store/judge.h"
#include "store/log/commit_log.h"
#include "store/stored_state.h"
#include "text/result.h"

namespace nexa::store {

struct StartState {
  ImagePtr image;
  std::string violation;   // the rule that the configuration breaks, one line
  bool judged = false;     // libyang found it valid as a whole
  bool owes_base = false;  // the log is still to be brought up to the schema: write_base()
};

// Completes what was configured by the loaded schema and judges it, in a process that may die. A
// configuration that breaks a rule is taken all the same.
void judge_configured(const ImagePtr& configured, Judge& judge, StartState& start);

// An image under the loaded schema is taken as it is. Without one (an old log, a changed schema)
// what was configured is read as XML and judged as a whole, in a process that may die; a
// configuration that breaks a rule is taken with its violation told. The log is brought up to the
// schema if it can be written. Fails, with `file` as the path, when the loaded modules do not have
// the stored nodes, or do not take their values.
text::Result<StartState> start_state(CommitLog& log, const std::string& file, Judge& judge,
                                     std::vector<std::string>& notes);

// The configuration as a row of the log, not said to be judged.
LogSnapshot row_of(std::uint64_t number, const ImageInner& image, const std::string& schema_hash);

// Brings the log up to the loaded schema: what a later start begins with, before the first commit
// whose effect is told in this schema's words. `image` is the newest configuration.
LogResult write_base(CommitLog& log, const ImageInner& image, bool judged);

}  // namespace nexa::store

#endif  // HOST_STORE_STORE_START_H_
