// The folder that a store lives in: made with the right modes, held by one process at a time.
#ifndef HOST_STORE_LOG_DATA_DIRECTORY_H_
#define HOST_STORE_LOG_DATA_DIRECTORY_H_

#include <memory>
#include <string>

#include "text/descriptor.h"
#include "text/result.h"

namespace nexa::store {

class DataDirectory {
 public:
  // Makes the directory (mode 0700) if it is not there and locks it. A failure names it, "in use by
  // process N" when another process holds it. Needs to write nothing in a directory that is there.
  static text::Result<std::unique_ptr<DataDirectory>> hold(const std::string& path);
  ~DataDirectory();
  DataDirectory(const DataDirectory&) = delete;
  DataDirectory& operator=(const DataDirectory&) = delete;

 private:
  DataDirectory(int directory, int lock) : directory_(directory), lock_(lock) {}

  text::Descriptor directory_;
  text::Descriptor lock_;  // none: no such file can be made here
  bool held_ = false;      // the locks are ours
};

// Makes names that were created or renamed in the directory survive a power cut.
bool sync_directory(const std::string& path);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_DATA_DIRECTORY_H_
