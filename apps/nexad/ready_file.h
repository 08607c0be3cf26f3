// A file that says where the server can be reached, there as long as it can be.
#ifndef APPS_NEXAD_READY_FILE_H_
#define APPS_NEXAD_READY_FILE_H_

#include <string>

#include "text/result.h"

namespace nexad {

class ReadyFile {
 public:
  // Removes what an earlier run left. Does nothing, now and later, when there is no path.
  explicit ReadyFile(std::string path);
  ~ReadyFile();
  ReadyFile(const ReadyFile&) = delete;
  ReadyFile& operator=(const ReadyFile&) = delete;

  // The line appears as a whole.
  nexa::text::Done write(const std::string& line) const;

 private:
  const std::string path_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_READY_FILE_H_
