// An image, or what differs between two, as text: for the log's snapshots and for what a commit
// did. The text is read back without libyang, so that a start costs little; it fits only the schema
// that it was written under.
//
// One line for each step of a walk, a letter in front:
//     > name[ TAB key ...]   into a container or entry that stays
//     + name[ TAB key ...]   into one that is new
//     * name                 into a container that is new and holds defaults only
//     <                      back to the parent
//     D                      the container now holds defaults only
//     E                      it now holds something explicit
//     = name TAB value       leaf or leaf-list entry, set by somebody; # & 0: other scalar forms
//     ~= name TAB value      the same as a default
//     x name TAB element     anydata
//     - name[ TAB key ...]   gone, with all below it (leaf-lists: the value as the key)
//     @ number               place of the entry in the next line; without it: behind the others
// The blanks are not written. A name has its module in front where that is not the parent's. In
// keys and values a backslash stands before t, n and itself.
#ifndef HOST_STORE_IMAGE_IMAGE_TEXT_H_
#define HOST_STORE_IMAGE_IMAGE_TEXT_H_

#include <string>
#include <string_view>

#include "store/image/image.h"
#include "text/result.h"

namespace nexa::store {

// What makes `after` of `before`. Empty when they are the same.
std::string difference_text(const ImageInner& before, const ImageInner& after);

// The whole of an image: what makes it of the empty one.
std::string image_text(const ImageInner& image);

// Makes the tree of `image` what `text` says. Fails when the text does not fit the tree or the
// loaded schema; the image is undefined then.
text::Done apply_text(std::string_view text, ImagePtr& image);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_TEXT_H_
