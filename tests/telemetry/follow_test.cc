// Streams that follow commits, against what the store says: whoever replays the messages has the
// store's content after every commit, and so has who polls, or reads the past.
// NEXA_TELEMETRY_COMMITS and NEXA_TELEMETRY_SETS ask for longer runs than the default.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/sanitized.h"
#include "telemetry/support/follower.h"
#include "telemetry/support/random_sets.h"

namespace nexa_test {
namespace {

int asked_for(const char* variable, int usual) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? usual : std::atoi(text);
}

TEST_F(RandomSets, Row36EachStreamHasTheStoresContentAfterEachCommit) {
  nexa::telemetry::ChangeFeed feed(*real_store);
  const nexa::telemetry::StreamSources sources{
      *real_store, feed, [](std::shared_ptr<const nexa::store::StateTree>& state) {
        state.reset();
        return true;
      }};
  std::vector<std::shared_ptr<Follower>> followers;
  for (int i = 0; i < 100; ++i) {
    followers.push_back(std::make_shared<Follower>(Following{random_path()}));
    if (i >= 50) continue;  // the others come later
    followers.back()->begin(sources);
  }
  const int commits = asked_for("NEXA_TELEMETRY_COMMITS", 1000);
  std::size_t merged = 0;
  for (int commit = 0; commit < commits; ++commit) {
    ASSERT_EQ(change(), "0 ") << commit;
    const auto snapshot = real_store->snapshot();
    for (std::size_t i = 0; i < followers.size(); ++i) {
      Follower& follower = *followers[i];
      const auto begins =
          static_cast<int>(i >= 50 ? (i - 49) * static_cast<std::size_t>(commits) / 60 : 0);
      if (commit < begins) continue;
      if (i >= 50 && commit == begins) follower.begin(sources);
      // Every third reads seldom, and is behind then.
      const bool is_slow = i % 3 == 0;
      if (is_slow && commit % 7 != 0 && commit + 1 != commits) continue;
      merged += is_slow ? 1 : 0;
      const std::size_t before = follower.notifications();
      const std::size_t room = pick(4) == 0 ? 64 : 1U << 20U;
      if (follower.is_woken()) follower.take(room, is_slow);
      ASSERT_EQ(follower.view(), follower.stored(*snapshot)) << follower.path() << " at " << commit;
      if (!is_slow && room > 64 && commit > begins) {
        ASSERT_LE(follower.notifications() - before, 1U) << follower.path();
      }
    }
  }
  EXPECT_GT(merged, 0U);
}

TEST_F(RandomSets, Row35WhoFollowsPollsOrReadsThePastHasTheSame) {
  nexa::telemetry::ChangeFeed feed(*real_store);
  const nexa::telemetry::StreamSources sources{
      *real_store, feed, [](std::shared_ptr<const nexa::store::StateTree>& state) {
        state.reset();
        return true;
      }};
  const int sets = asked_for("NEXA_TELEMETRY_SETS", kIsSanitized ? 100 : 300);
  const std::vector<std::string> paths = {
      "/", "/device", "/.../speed", "/device/port[name=*]/route", random_path(), random_path()};
  std::vector<std::shared_ptr<Follower>> following;
  std::vector<std::shared_ptr<Follower>> polling;
  for (const std::string& path : paths) {
    following.push_back(std::make_shared<Follower>(Following{path}));
    polling.push_back(std::make_shared<Follower>(Following{path, gnmi::SubscriptionList::POLL}));
    following.back()->begin(sources);
    polling.back()->begin(sources);
    polling.back()->take(1U << 20U, false);
  }
  // What was there after each commit, by its time; kept for the paths in turn.
  std::vector<std::map<std::int64_t, View>> met(paths.size());
  std::vector<nexa::store::CommitRecord> newest;
  std::uint64_t last = 0;
  for (int set = 0; set < sets; ++set) {
    ASSERT_EQ(change(), "0 ") << set;
    const bool is_new = real_store->snapshot()->number() != last;
    last = real_store->snapshot()->number();
    if (is_new) {
      ASSERT_TRUE(real_store->history(1, newest).ok());
    }
    for (std::size_t i = 0; i < paths.size(); ++i) {
      if (following[i]->is_woken()) following[i]->take(1U << 20U, false);
      polling[i]->poll();
      ASSERT_EQ(following[i]->view(), polling[i]->view()) << paths[i] << " at " << set;
      if (is_new) met[i][newest.front().time_ns] = polling[i]->view();
    }
  }
  ASSERT_FALSE(met[0].empty());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const std::int64_t first = met[i].begin()->first;
    const nexa::telemetry::History all{first, met[i].rbegin()->first + 1};
    Follower reader({paths[i], gnmi::SubscriptionList::STREAM, all});
    reader.begin(sources);
    reader.take(1U << 20U, false);
    EXPECT_EQ(reader.view(), polling[i]->view()) << paths[i];
    // A commit that changed nothing of the path is not told: the view is that before it.
    for (const auto& [time, view] : met[i]) {
      const auto after = reader.past().upper_bound(time);
      const View seen = after == reader.past().begin() ? View() : std::prev(after)->second;
      ASSERT_EQ(seen, view) << paths[i] << " at " << time;
    }
  }
}

}  // namespace
}  // namespace nexa_test
