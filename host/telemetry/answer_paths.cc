// Elements are compared one by one, keys included.
#include "telemetry/answer_paths.h"

namespace nexa::telemetry {
namespace {

bool same_element(const gnmi::PathElem& left, const gnmi::PathElem& right) {
  if (left.name() != right.name() || left.key_size() != right.key_size()) return false;
  for (const auto& [name, value] : left.key()) {
    const auto other = right.key().find(name);
    if (other == right.key().end() || other->second != value) return false;
  }
  return true;
}

}  // namespace

AnswerPrefix::AnswerPrefix(const gnmi::Path& prefix, bool present)
    : whole_(prefix), bare_(prefix), present_(present) {
  bare_.clear_elem();
}

bool AnswerPrefix::covers(const gnmi::Path& path) const {
  if (path.elem_size() < whole_.elem_size()) return false;
  for (int index = 0; index < whole_.elem_size(); ++index) {
    if (!same_element(whole_.elem(index), path.elem(index))) return false;
  }
  return true;
}

void AnswerPrefix::make_relative(gnmi::Path& path) const {
  path.mutable_elem()->DeleteSubrange(0, whole_.elem_size());
}

void AnswerPrefix::make_whole(gnmi::Path& path) const {
  gnmi::Path joined;
  *joined.mutable_elem() = whole_.elem();
  joined.mutable_elem()->MergeFrom(path.elem());
  path.mutable_elem()->Swap(joined.mutable_elem());
}

const gnmi::Path* AnswerPrefix::shown(bool with_elements) const {
  if (!present_) return nullptr;
  return with_elements ? &whole_ : &bare_;
}

void AnswerPrefix::place_origin(const gnmi::Path& requested, gnmi::Path& path) {
  path.clear_target();
  if (requested.origin().empty()) {
    path.clear_origin();
  } else {
    path.set_origin(requested.origin());
  }
}

}  // namespace nexa::telemetry
