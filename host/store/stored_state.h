// From the log's texts to images: the configuration as a commit left it.
#ifndef HOST_STORE_STORED_STATE_H_
#define HOST_STORE_STORED_STATE_H_

#include <optional>
#include <string>

#include "store/image/image.h"
#include "store/log/commit_log.h"
#include "text/result.h"

namespace nexa::store {

// What the schema digest of an image has to be for the loaded schema.
std::string loaded_schema_hash();

struct StoredState {
  ImagePtr image;
  std::uint64_t replayed = 0;  // commits applied to the snapshot
  bool complete = false;       // defaults are in the image; else only what was configured
  bool judged = false;         // libyang found just this image valid as a whole
};

// The newest configuration, read without libyang from the newest image under the loaded schema and
// the effects of the commits after it. None when there is no such image or a commit without effect;
// fails when what is stored does not fit together.
text::Result<std::optional<StoredState>> newest_image_state(const CommitLog& log);
// The same for commit `number`.
text::Result<std::optional<StoredState>> image_state(const CommitLog& log, std::uint64_t number);

// What was configured after commit `number`, read by libyang from XML alone. Fails when that does
// not fit the loaded schema, or the commit is not kept.
text::Result<StoredState> configured_state(const CommitLog& log, std::uint64_t number);

// The one of the two that tells more: with the places of all entries where an image leads to them.
text::Result<StoredState> best_state(const CommitLog& log, std::uint64_t number);

// Makes what was configured after the entry of what was before it; a failure names the commit.
text::Done apply_entry(const LogEntry& entry, ImagePtr& image);

}  // namespace nexa::store

#endif  // HOST_STORE_STORED_STATE_H_
