// The log's checksums held, so what does not fit here does not fit the schema.
#include "store/stored_state.h"

#include "store/change.h"
#include "store/change_reading.h"
#include "store/image/image_import.h"
#include "store/image/image_text.h"
#include "store/log/log_rows.h"
#include "store/schema_content.h"

namespace nexa::store {
namespace {

text::Done read_configuration(std::string_view xml, ImagePtr& image) {
  text::Result<TreePtr> tree = parse_nodes(inner_xml(xml));
  if (!tree.ok()) return std::move(tree).failure();
  image = image_of_tree(tree.value().get());
  return {};
}

text::Failure of_commit(std::uint64_t number, text::Failure failure) {
  return text::failure_at("commit " + std::to_string(number), std::move(failure));
}

}  // namespace

text::Done apply_entry(const LogEntry& entry, ImagePtr& image) {
  text::Done done =
      entry.whole ? read_configuration(entry.change, image) : apply_change(entry.change, image);
  if (!done.ok()) return of_commit(entry.number, std::move(done).failure());
  return {};
}

std::string loaded_schema_hash() { return schema_content_digest(); }

text::Result<std::optional<StoredState>> newest_image_state(const CommitLog& log) {
  return image_state(log, log.head());
}

text::Result<std::optional<StoredState>> image_state(const CommitLog& log, std::uint64_t number) {
  LogSnapshot base;
  if (!log.newest_image(loaded_schema_hash(), number, base)) return std::nullopt;
  StoredState state;
  state.image = empty_image();
  text::Done done = apply_text(base.image, state.image);
  if (!done.ok()) {
    return text::failure_at("image " + std::to_string(base.number), std::move(done).failure());
  }
  bool has_effects = true;
  const auto apply = [&](const LogEntry& entry) {
    if (entry.number > number) return false;
    has_effects = !entry.effect.empty();
    if (!has_effects) return false;
    ++state.replayed;
    done = apply_text(entry.effect, state.image);
    if (!done.ok()) done = of_commit(entry.number, std::move(done).failure());
    return done.ok();
  };
  if (text::Done read = log.replay_after(base.number, apply); !read.ok()) {
    return std::move(read).failure();
  }
  if (!done.ok()) return std::move(done).failure();
  if (!has_effects) return std::nullopt;
  state.complete = true;
  state.judged = base.judged && state.replayed == 0;
  return state;
}

text::Result<StoredState> configured_state(const CommitLog& log, std::uint64_t number) {
  LogSnapshot base;
  std::vector<LogEntry> entries;
  const auto keep = [&entries](const LogEntry& entry) {
    entries.push_back(entry);
    return true;
  };
  if (text::Done read = log.replay(number, base, keep); !read.ok()) {
    return std::move(read).failure();
  }
  StoredState state;
  if (text::Done done = read_configuration(base.config, state.image); !done.ok()) {
    return text::failure_at("snapshot " + std::to_string(base.number), std::move(done).failure());
  }
  for (const LogEntry& entry : entries) {
    if (text::Done done = apply_entry(entry, state.image); !done.ok()) {
      return std::move(done).failure();
    }
  }
  state.replayed = entries.size();
  return state;
}

text::Result<StoredState> best_state(const CommitLog& log, std::uint64_t number) {
  text::Result<std::optional<StoredState>> image = image_state(log, number);
  if (image.ok() && image.value()) return *std::move(image).value();
  return configured_state(log, number);
}

}  // namespace nexa::store
