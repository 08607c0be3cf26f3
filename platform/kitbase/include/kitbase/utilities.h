// Small helpers that the library shares with the server around it.
#ifndef KITBASE_UTILITIES_H_
#define KITBASE_UTILITIES_H_

#include <string>

#define KITBASE_EXPORT __attribute__((visibility("default")))

namespace kitbase {

class KITBASE_EXPORT Utilities {
 public:
  // Logs a serialised XML document of `length` bytes at DEBUG, one log line per document. Does
  // nothing when `text` is null, `length` is not positive, or DEBUG is off. Any thread.
  static void xmlLog(const unsigned char* text, int length);

  // `text` with the ASCII letters A to Z in lower case; every other byte stays. Any thread.
  static std::string to_lower(const std::string& text);
};

}  // namespace kitbase

#endif  // KITBASE_UTILITIES_H_
