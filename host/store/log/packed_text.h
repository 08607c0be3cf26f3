// Long texts of the log as they are stored: packed with Zstandard (RFC 8878), so that a large
// change costs the disk a tenth of its text. Whether a stored text is packed shows in its first
// bytes: no text of the log begins with the four of a frame, which are not UTF-8.
//
// Checksums are over what is stored: nothing is unpacked that was not found whole.
#ifndef HOST_STORE_LOG_PACKED_TEXT_H_
#define HOST_STORE_LOG_PACKED_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace nexa::store {

// Shorter texts are stored as they are.
inline constexpr std::size_t kShortestPacked = 4096;

bool is_packed(std::string_view stored);

// The packed text; nothing for one that is stored as it is: it is short, or would become no
// shorter, or there is no memory for the work.
std::optional<std::string> pack(std::string_view text);

// Makes the text of what is stored, in place. False when it cannot be unpacked; `stored` is as
// before then.
bool unpack(std::string& stored);

// The length of the text, without unpacking it.
std::size_t unpacked_size(std::string_view stored);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_PACKED_TEXT_H_
