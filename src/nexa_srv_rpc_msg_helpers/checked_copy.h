// The copy that every string makes on its way to libxml2: zero-filled, of exactly its own length,
// made with a bounded copy. Tells apart that there was no memory from that the copy was refused.
#ifndef NEXA_CHECKED_COPY_H_
#define NEXA_CHECKED_COPY_H_

#include <libxml/xmlstring.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "safe_str_lib.h"

namespace nexa {

// Owns the copy; libxml2 makes its own, so the copy ends with the scope. strcpy_s refuses a bound
// above RSIZE_MAX_STR, so a text of 32,768 bytes or more ends as `refused`.
class CheckedCopy {
 public:
  explicit CheckedCopy(const char* text) : CheckedCopy(text, std::strlen(text)) {}
  explicit CheckedCopy(const std::string& text) : CheckedCopy(text.c_str(), text.size()) {}

  // `text` ends with a zero at `text[length]`.
  CheckedCopy(const char* text, std::size_t length)
      : buffer_(static_cast<char*>(std::calloc(length + 1, 1))),
        refused_(buffer_ != nullptr && strcpy_s(buffer_.get(), length + 1, text) != 0) {}

  // Whether a text of this length is not refused, so that a copy which changes nothing may be
  // spared.
  static constexpr bool takes(std::size_t length) { return length < RSIZE_MAX_STR; }

  bool ok() const { return buffer_ != nullptr && !refused_; }
  bool no_memory() const { return buffer_ == nullptr; }
  bool refused() const { return refused_; }

  // Gives the copy away; the taker frees it with std::free.
  xmlChar* release() { return reinterpret_cast<xmlChar*>(buffer_.release()); }

  const xmlChar* xml() const { return reinterpret_cast<const xmlChar*>(buffer_.get()); }

 private:
  struct Free {
    void operator()(char* buffer) const { std::free(buffer); }
  };

  std::unique_ptr<char, Free> buffer_;
  bool refused_;
};

}  // namespace nexa

#endif  // NEXA_CHECKED_COPY_H_
