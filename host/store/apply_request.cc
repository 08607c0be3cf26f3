// Edits may be many and costly, so limits and the wish to go on are asked for between them.
#include "store/apply_request.h"

#include <unordered_map>
#include <utility>

#include "store/image/image_draft.h"

namespace nexa::store {
namespace {

constexpr char kAbandoned[] = "nobody waits for the commit any more";

using grpc::StatusCode;

bool is_within(const RequestLimits& limits, const CommitRequest& request,
               const EditApplier& applier, CommitResult& result) {
  std::size_t bytes = 0;
  for (const Edit& edit : request.edits) bytes += edit.xml.size();
  if (limits.bytes != 0 && bytes > limits.bytes) {
    result.rule = std::to_string(bytes) + " bytes of configuration in one transaction, at most " +
                  std::to_string(limits.bytes) + " are taken";
  } else if (limits.nodes != 0 && applier.nodes() > limits.nodes) {
    result.rule = std::to_string(applier.nodes()) + " nodes in one transaction, at most " +
                  std::to_string(limits.nodes) + " are taken";
  } else {
    return true;
  }
  result.status = {StatusCode::RESOURCE_EXHAUSTED, result.rule};
  return false;
}

}  // namespace

bool apply_request(const CommitRequest& request, const RequestLimits& limits, EditApplier& applier,
                   CommitResult& result) {
  for (std::size_t i = 0; i < request.edits.size(); ++i) {
    if (request.abandoned && request.abandoned()) {
      result.status = {StatusCode::CANCELLED, kAbandoned};
      return false;
    }
    if (text::Done done = applier.apply(request.edits[i]); !done.ok()) {
      text::Failure failure = std::move(done).failure();
      result.status = {failure.code, failure.line()};
      result.edit = static_cast<int>(i);
      result.path = std::move(failure.path);
      result.rule = std::move(failure.rule);
      return false;
    }
    if (!is_within(limits, request, applier, result)) return false;
  }
  return true;
}

ImagePtr without_idle_modules(ImagePtr image,
                              const std::function<bool(const lys_module*)>& has_standing_defaults) {
  std::unordered_map<const lys_module*, bool> configured;
  for (const ImageSlot& child : image->children()) {
    configured[child->schema()->module] |= !child->is_default();
  }
  ImageSlot root = image;
  for (const ImageSlot& child : image->children()) {
    const lys_module* const module = child->schema()->module;
    if (!configured[module] && !has_standing_defaults(module)) {
      ImageDraft::remove(root, child->schema());
    }
  }
  return ImagePtr::share(&root->inner());
}

}  // namespace nexa::store
