// How a text from outside is shown in messages, log lines and on terminals: always UTF-8, without
// characters that a terminal obeys or that reorder what stands around them, and bounded in length.
#ifndef HOST_TEXT_DISPLAY_H_
#define HOST_TEXT_DISPLAY_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nexa::text {

// Stands for what was left out of a text.
inline constexpr std::string_view kCut = "...";

inline constexpr std::size_t kNoBound = std::string_view::npos;

// `text` on one line. Line feed, carriage return and tab become \n, \r and \t; the bytes of other
// control characters, of those that change the direction of writing, and bytes that are not UTF-8
// become \xNN. What lies beyond `bound` bytes of the text is replaced by "...". A text that was
// made printable before stays as it is, so a message may be passed through again.
std::string printable(std::string_view text, std::size_t bound = kNoBound);

// The same, but line feeds and tabs stay: a document on a terminal.
std::string printable_lines(std::string_view text);

// printable() between double quotes, with a backslash before each quote and backslash of the text.
std::string quoted(std::string_view text, std::size_t bound = kNoBound);

}  // namespace nexa::text

#endif  // HOST_TEXT_DISPLAY_H_
