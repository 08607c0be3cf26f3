// What a log line shows for strings and names that may be missing. Formats alone: nothing here
// decides.
#ifndef NEXA_LOG_TEXT_H_
#define NEXA_LOG_TEXT_H_

#include "kestrel/kestrel.h"

namespace nexa {

// `text`, or "(null)": not every C library prints a null string.
inline const char* printable(const char* text) { return text != nullptr ? text : "(null)"; }

// The node's name for a log line.
inline const char* printable_tag(const kestrel_cs_node* node) {
  return printable(node != nullptr ? kestrel_hash2str(node->tag) : nullptr);
}

}  // namespace nexa

#endif  // NEXA_LOG_TEXT_H_
