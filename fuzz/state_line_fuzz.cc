// Lines of a program that tells operational data: each is refused with a text and changes nothing,
// or what it tells is there; and all of it can be read.
#include <string>
#include <string_view>

#include "feed/line_splitter.h"
#include "feed/state_line.h"
#include "model/resolver.h"
#include "store/held_state.h"
#include "store/image/image_text.h"
#include "store/tree_snapshot.h"
#include "support.h"

namespace {

using nexa::feed::StateLine;
using nexa::store::HeldState;

constexpr std::size_t kLongestLine = 1024;

const nexa::model::Resolver& resolver() {
  fuzz::mapper();
  static const nexa::model::Schema schema;
  static const nexa::model::Resolver instance(schema);
  return instance;
}

std::string text_of(const HeldState& state) {
  return nexa::store::image_text(nexa::store::image_of_state(*state.tree()));
}

void take(HeldState& state, std::string_view text) {
  const auto read = nexa::feed::read_state_line(text);
  if (!read.ok()) {
    if (read.failure().rule.empty()) fuzz::fail("refused without a text", std::string(text));
    return;
  }
  const StateLine& line = read.value();
  const auto target = resolver().resolve(gnmi::Path(), line.path, nexa::model::Purpose::kRead);
  if (!target.ok()) {
    if (target.failure().rule.empty()) fuzz::fail("no rule", std::string(text));
    return;
  }
  if (line.kind == StateLine::Kind::kCounters) return;  // nothing is held of it
  if (line.kind == StateLine::Kind::kDelete) {
    state.remove(target.value());
    if (!target.value().is_root() && state.holds(target.value())) {
      fuzz::fail("still there", std::string(text));
    }
    return;
  }
  const std::string before = text_of(state);
  const auto done = state.update(target.value(), line.value);
  if (done.ok()) return;
  if (done.failure().rule.empty()) fuzz::fail("does not fit without a text", std::string(text));
  if (text_of(state) != before) fuzz::fail("a refusal changed something", std::string(text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HeldState state;
  nexa::feed::LineSplitter lines(kLongestLine);
  const auto each = [&state](std::string_view line, bool is_whole) {
    if (line.size() > kLongestLine) fuzz::fail("a line above the bound");
    if (is_whole) take(state, line);
  };
  // In two pieces, as a pipe gives it.
  const std::string text = fuzz::text_of(data, size);
  const std::string_view whole = text;
  lines.add(whole.substr(0, size / 2), each);
  lines.add(whole.substr(size / 2), each);
  lines.finish(each);
  if (state.is_empty() != (state.count() == 0)) fuzz::fail("the count is wrong", text);
  HeldState over = state;
  over.lay_over(state);
  if (text_of(over) != text_of(state)) fuzz::fail("twice the same is something else", text);
  return 0;
}
