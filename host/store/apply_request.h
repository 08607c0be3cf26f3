// What do the edits of a request make of the configuration, before anybody judges it?
#ifndef HOST_STORE_APPLY_REQUEST_H_
#define HOST_STORE_APPLY_REQUEST_H_

#include <cstddef>
#include <functional>

#include "store/config_store.h"
#include "store/edits.h"
#include "store/image/image.h"

namespace nexa::store {

// What the documents of one request may hold; 0: any number.
struct RequestLimits {
  std::size_t nodes = 0;
  std::size_t bytes = 0;
};

// Applies the edits in their order. False with the refusal in `result`: an edit cannot be applied,
// there is too much of them, or nobody waits any more.
bool apply_request(const CommitRequest& request, const RequestLimits& limits, EditApplier& applier,
                   CommitResult& result);

// Of a module without configured data only standing defaults stay.
ImagePtr without_idle_modules(ImagePtr image,
                              const std::function<bool(const lys_module*)>& has_standing_defaults);

}  // namespace nexa::store

#endif  // HOST_STORE_APPLY_REQUEST_H_
