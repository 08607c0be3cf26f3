// Reads the XML that the log has of a commit: see change.h for what it says.
#ifndef HOST_STORE_CHANGE_READING_H_
#define HOST_STORE_CHANGE_READING_H_

#include <string>
#include <string_view>

#include "store/image/image.h"
#include "text/result.h"

namespace nexa::store {

// Makes in an image of what was configured the change that a YANG difference tells; containers that
// are left empty are marked as defaults. Takes libyang's differences as well, which older programs
// wrote. Fails when the text is no difference for the loaded schema or does not fit the image,
// which is undefined then.
text::Done apply_change(std::string_view xml, ImagePtr& image);

}  // namespace nexa::store

#endif  // HOST_STORE_CHANGE_READING_H_
