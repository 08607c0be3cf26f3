// Collects what libyang complains about, instead of letting it print. Must not judge the messages.
#ifndef KESTREL_SRC_LIBYANG_LOG_H_
#define KESTREL_SRC_LIBYANG_LOG_H_

#include <libyang/libyang.h>

#include <string>
#include <vector>

namespace kestrel {

// Errors of the calling thread while the object lives, oldest first. libyang has one log function
// for the process; messages of other threads go on to the one that was set before. One object at a
// time.
class LibyangLog {
 public:
  struct Message {
    std::string text;
    std::string place;  // a path or a line, in one of libyang's spellings; may be empty
    std::string file;   // the file that was being read
  };

  LibyangLog();
  ~LibyangLog();
  LibyangLog(const LibyangLog&) = delete;
  LibyangLog& operator=(const LibyangLog&) = delete;

  // The file that libyang reads from now on.
  void set_file(const std::string& file) { file_ = file; }
  const std::vector<Message>& messages() const { return messages_; }
  void clear() { messages_.clear(); }

 private:
  static void receive(LY_LOG_LEVEL level, const char* text, const char* place);
  void add(const char* text, const char* place) noexcept;

  std::string file_;
  std::vector<Message> messages_;
  LY_LOG_LEVEL level_before_;
  std::uint32_t options_before_;
};

}  // namespace kestrel

#endif  // KESTREL_SRC_LIBYANG_LOG_H_
