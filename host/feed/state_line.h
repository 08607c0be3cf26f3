// One line of a program that tells operational data: {"path": "...", "value": ...},
// {"delete": "..."} or {"counters": "..."}.
#ifndef HOST_FEED_STATE_LINE_H_
#define HOST_FEED_STATE_LINE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "gnmi.pb.h"
#include "text/result.h"

namespace nexa::feed {

struct StateLine {
  enum class Kind : std::uint8_t {
    kValue,     // the node has this value
    kDelete,    // what the path names is gone
    kCounters,  // the leaves at and below the path change all the time
  };
  Kind kind = Kind::kValue;
  gnmi::Path path;
  std::string_view value;  // kValue: JSON, a part of the line
};

// Why a line is left out.
text::Failure unfit_line(std::string rule);

// Reads a line; what it gives refers to `text`. Any thread.
text::Result<StateLine> read_state_line(std::string_view text);

}  // namespace nexa::feed

#endif  // HOST_FEED_STATE_LINE_H_
