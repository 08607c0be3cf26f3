// Paths of clients can be long and hold any character.
#include "request/request_rules.h"

#include "text/display.h"
#include "translate/path_string.h"

namespace nexa::request {
namespace {

constexpr std::size_t kMostPathShown = 300;

}  // namespace

std::string shown_path(const gnmi::Path& path) {
  return text::printable(translate::format_path_string(path), kMostPathShown);
}

std::string at_place(const std::string& place, const gnmi::Path& path) {
  return place + " " + shown_path(path) + ": ";
}

}  // namespace nexa::request
