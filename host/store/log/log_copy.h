// A copy of the log in memory, with its journal applied: for reading where SQLite cannot make the
// files that it needs beside a log (full disk, read-only folder) although there is a journal.
#ifndef HOST_STORE_LOG_LOG_COPY_H_
#define HOST_STORE_LOG_LOG_COPY_H_

#include <string>

#include "store/log/log_types.h"
#include "store/log/sqlite.h"

namespace nexa::store {

// nullptr when the files cannot be read or there is no memory. Needs memory for all of the log.
// Nobody may write the log meanwhile.
DatabasePtr copy_log(const LogOptions& options, const std::string& file);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_LOG_COPY_H_
