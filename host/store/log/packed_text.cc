// Level 1 packs faster than the disk takes what it saves; the higher ones save little more.
#include "store/log/packed_text.h"

#include <zstd.h>
#include <zstd_errors.h>

#include <new>

namespace nexa::store {
namespace {

constexpr int kLevel = 1;
constexpr std::string_view kFrame = "\x28\xb5\x2f\xfd";

}  // namespace

bool is_packed(std::string_view stored) { return stored.substr(0, kFrame.size()) == kFrame; }

std::optional<std::string> pack(std::string_view text) {
  if (text.size() < kShortestPacked) return std::nullopt;
  std::string packed(ZSTD_compressBound(text.size()), '\0');
  const std::size_t size =
      ZSTD_compress(packed.data(), packed.size(), text.data(), text.size(), kLevel);
  if (ZSTD_isError(size) != 0 || size >= text.size()) return std::nullopt;
  packed.resize(size);
  return packed;
}

std::size_t unpacked_size(std::string_view stored) {
  if (!is_packed(stored)) return stored.size();
  const unsigned long long size = ZSTD_getFrameContentSize(stored.data(), stored.size());
  const bool is_known = size != ZSTD_CONTENTSIZE_UNKNOWN && size != ZSTD_CONTENTSIZE_ERROR;
  return is_known ? static_cast<std::size_t>(size) : stored.size();
}

bool unpack(std::string& stored) {
  if (!is_packed(stored)) return true;
  const unsigned long long size = ZSTD_getFrameContentSize(stored.data(), stored.size());
  if (size == ZSTD_CONTENTSIZE_UNKNOWN || size == ZSTD_CONTENTSIZE_ERROR) return false;
  std::string text;
  if (size > text.max_size()) return false;
  text.resize(static_cast<std::size_t>(size));
  const std::size_t written =
      ZSTD_decompress(text.data(), text.size(), stored.data(), stored.size());
  if (ZSTD_isError(written) != 0) {
    if (ZSTD_getErrorCode(written) == ZSTD_error_memory_allocation) throw std::bad_alloc();
    return false;
  }
  if (written != text.size()) return false;
  stored = std::move(text);
  return true;
}

}  // namespace nexa::store
