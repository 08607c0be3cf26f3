// One line of fixed length, written over in place: the number, the commit's checksum, and a
// checksum over both.
#include "store/log/commit_witness.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <string_view>

#include "store/log/log_database.h"
#include "store/log/log_rows.h"

namespace nexa::store {
namespace {

constexpr std::size_t kNumberSize = 20;
constexpr std::size_t kHexSize = 2 * kDigestSize;
constexpr std::size_t kLineSize = kNumberSize + 1 + kHexSize + 1 + kHexSize + 1;

std::string hex(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    text.append(1, kDigits[code / 16]).append(1, kDigits[code % 16]);
  }
  return text;
}

std::string from_hex(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
    unsigned code = 0;
    std::from_chars(text.data() + at, text.data() + at + 2, code, 16);
    bytes.push_back(static_cast<char>(code));
  }
  return bytes;
}

std::string line_of(const WitnessedCommit& commit) {
  const std::string digits = std::to_string(commit.number);
  return std::string(kNumberSize - digits.size(), '0') + digits + " " + hex(commit.hash) + " " +
         hex(head_digest(commit.number, commit.hash)) + "\n";
}

}  // namespace

std::string witness_file(const std::string& directory) { return log_file(directory) + "-newest"; }

CommitWitness::CommitWitness(const std::string& directory, bool read_only)
    : file_(open(witness_file(directory).c_str(),
                 (read_only ? O_RDONLY : O_RDWR | O_CREAT) | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                 0600)) {}

std::optional<WitnessedCommit> CommitWitness::read() const {
  std::array<char, kLineSize + 1> bytes{};
  const ssize_t size = pread(file_.get(), bytes.data(), bytes.size(), 0);
  if (size != static_cast<ssize_t>(kLineSize)) return std::nullopt;
  const std::string_view line(bytes.data(), kLineSize);
  WitnessedCommit commit;
  std::from_chars(line.data(), line.data() + kNumberSize, commit.number);
  commit.hash = from_hex(line.substr(kNumberSize + 1, kHexSize));
  // What does not give the same line again was damaged, or is something else.
  if (line_of(commit) != line) return std::nullopt;
  return commit;
}

void CommitWitness::write(const WitnessedCommit& commit) const {
  const std::string line = line_of(commit);
  // A line half written reads as none.
  static_cast<void>(pwrite(file_.get(), line.data(), line.size(), 0) == 0);
}

}  // namespace nexa::store
