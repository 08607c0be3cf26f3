// What a boolean writes to standard output reaches it at once.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "nexa/cjson_csnode.h"

namespace {

// Standard output is a pipe while this lives, and everything written so far is read without a
// flush.
class StandardOutputPipe {
 public:
  StandardOutputPipe() {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    EXPECT_EQ(pipe(ends_.data()), 0);
    EXPECT_NE(dup2(ends_[1], STDOUT_FILENO), -1);
  }
  ~StandardOutputPipe() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    close(ends_[0]);
    close(ends_[1]);
  }
  StandardOutputPipe(const StandardOutputPipe&) = delete;
  StandardOutputPipe& operator=(const StandardOutputPipe&) = delete;

  // The byte written here marks the end, so that reading an empty pipe does not wait.
  std::string read_so_far() {
    EXPECT_EQ(write(ends_[1], "|", 1), 1);
    std::array<char, 100> text{};
    const ssize_t size = read(ends_[0], text.data(), text.size());
    return size > 0 ? std::string(text.data(), static_cast<std::size_t>(size)) : std::string();
  }

 private:
  int saved_ = -1;
  std::array<int, 2> ends_{-1, -1};
};

TEST(JsonBindingOutput, ABooleanIsWrittenAndFlushed) {
  const std::unique_ptr<cJSON, void (*)(cJSON*)> item(cJSON_CreateTrue(), &cJSON_Delete);
  nexa::Json2cJsonCsnodeHash hash;
  StandardOutputPipe output;
  visit_bool(item.get(), nullptr, &hash);
  EXPECT_EQ(output.read_so_far(), " false \n|");
}

TEST(JsonBindingOutput, ANumberWritesNothing) {
  const std::unique_ptr<cJSON, void (*)(cJSON*)> item(cJSON_CreateNumber(0), &cJSON_Delete);
  nexa::Json2cJsonCsnodeHash hash;
  StandardOutputPipe output;
  visit_number(item.get(), nullptr, &hash);
  EXPECT_EQ(output.read_so_far(), "|");
}

}  // namespace
