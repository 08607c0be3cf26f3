// How the log comes to know again what is on the disk.
//
// After a failed fsync Linux marks the pages as clean although they never reached the disk: they
// read back as they were written, and the next fsync succeeds without writing them. So neither the
// journal's content nor a later success says anything about those pages. What helps is to write
// the bytes again: that makes the pages dirty, and the fsync after it is about them.
//
// confirm_log() does that for all that may be concerned:
// - The journal is cut behind the last commit that SQLite took as done (its index tells how many
//   frames that are): a commit whose sync failed can then not come back after a crash. Each
//   sync that succeeded vouched for the frames before.
// - The frames that remain are written again in place, with the bytes that they have. No byte on
// the
//   disk changes that was right, so a crash meanwhile does no harm.
// - Checkpoints copy pages from the journal into the database, and count them as copied before the
//   last sync. Every such page is named by a frame of the journal; these pages are written again.
// - Names in the folder: a name is made and removed, which writes the folder again, and it is
// synced
//   (SQLite ignores that a folder cannot be synced).
//
// Not the witness: it is never waited for, because it never decides what was committed. One that
// lags behind or is lost proves less about damage from outside; it refuses no intact log.
#ifndef HOST_STORE_LOG_DURABILITY_H_
#define HOST_STORE_LOG_DURABILITY_H_

#include <string>

#include "store/log/log_types.h"
#include "store/log/sqlite.h"

namespace nexa::store {

// SQLITE_OK when everything that `database` shows is on the disk. `rewrite` false: no sync has
// failed, so cutting and syncing is enough (which also works on a full disk). Any other result: it
// is not known; errno may tell why. Takes SQLite's write lock; no checkpoint may run meanwhile.
// With `options.sync` false nothing is synced or written again.
int confirm_log(sqlite3* database, const LogOptions& options, bool rewrite);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_DURABILITY_H_
