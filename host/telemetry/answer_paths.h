// How are paths written in an answer? Relative to the request's prefix where they lie below it.
#ifndef HOST_TELEMETRY_ANSWER_PATHS_H_
#define HOST_TELEMETRY_ANSWER_PATHS_H_

#include <string>

#include "gnmi.pb.h"

namespace nexa::telemetry {

// The prefix of one request. A prefix with wildcards, or without the keys of a list, names many
// places: answers then carry whole paths and a prefix of origin and target alone, for a path
// relative to such a prefix would not say which entry it belongs to.
class AnswerPrefix {
 public:
  AnswerPrefix(const gnmi::Path& prefix, bool present);

  // Whether the concrete `path` lies below the prefix as the request wrote it.
  bool covers(const gnmi::Path& path) const;

  // Takes the prefix's elements away from a path that it covers.
  void make_relative(gnmi::Path& path) const;

  // Puts them in front again.
  void make_whole(gnmi::Path& path) const;

  // The prefix of the answer, null for none: as the request wrote it, or without its elements.
  const gnmi::Path* shown(bool with_elements) const;

  // The origin is written where the request wrote it: in the path only when `requested` has one.
  static void place_origin(const gnmi::Path& requested, gnmi::Path& path);

 private:
  gnmi::Path whole_;
  gnmi::Path bare_;
  bool present_;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_ANSWER_PATHS_H_
