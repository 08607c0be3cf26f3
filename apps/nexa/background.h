// Work that must not be in anybody's way.
#ifndef APPS_NEXA_BACKGROUND_H_
#define APPS_NEXA_BACKGROUND_H_

#include <cstdint>

namespace nexa_tool {

// Gives this process the lowest priority for processor and disk, makes it the first to go when
// memory runs out, and lets it be killed when the parent's thread that started it ends. What the
// system refuses of the priorities is left. False when `parent` is not the parent's number: it has
// ended already.
bool work_in_background_for(std::uint64_t parent);

}  // namespace nexa_tool

#endif  // APPS_NEXA_BACKGROUND_H_
