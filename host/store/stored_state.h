// From the log's texts to images: the configuration as a commit left it.
#ifndef HOST_STORE_STORED_STATE_H_
#define HOST_STORE_STORED_STATE_H_

#include <string>

#include "store/image/image.h"
#include "store/log/commit_log.h"

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
// the effects of the commits after it. False when there is no such image or a commit without
// effect; also with `error` set when what is stored does not fit together.
bool newest_image_state(const CommitLog& log, StoredState& state, std::string& error);

// What was configured after commit `number`, read by libyang from XML alone. False with `error`:
// what does not fit the loaded schema, or that the commit is not kept.
bool configured_state(const CommitLog& log, std::uint64_t number, StoredState& state,
                      std::string& error);

// Makes what was configured after the entry of what was before it. False with `error`.
bool apply_entry(const LogEntry& entry, ImagePtr& image, std::string& error);

}  // namespace nexa::store

#endif  // HOST_STORE_STORED_STATE_H_
