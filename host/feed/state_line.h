// One line of a program that tells operational data: {"path": "...", "value": ...} or
// {"delete": "..."}.
#ifndef HOST_FEED_STATE_LINE_H_
#define HOST_FEED_STATE_LINE_H_

#include <string>
#include <string_view>

#include "gnmi.pb.h"

namespace nexa::feed {

struct StateLine {
  bool is_delete = false;
  gnmi::Path path;
  std::string_view value;  // JSON, a part of the line
};

// False with `error` set when the line is none. Any thread.
bool read_state_line(std::string_view text, StateLine& line, std::string& error);

}  // namespace nexa::feed

#endif  // HOST_FEED_STATE_LINE_H_
