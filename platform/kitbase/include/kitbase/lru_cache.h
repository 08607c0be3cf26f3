// A least-recently-used cache: a map for look-ups, a list for the order of use.
#ifndef KITBASE_LRU_CACHE_H_
#define KITBASE_LRU_CACHE_H_

#include <boost/optional.hpp>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <list>
#include <map>
#include <utility>

namespace kitbase {

// Holds at most `capacity` entries; map and list always hold the same keys, also after an
// exception. The front of the list is the key used last, its back the one that goes next. Not
// thread-safe.
template <typename K, typename V>
class lru_cache {
 public:
  explicit lru_cache(std::uint32_t capacity) : capacity_(capacity) {}

  lru_cache(const lru_cache&) = delete;
  lru_cache& operator=(const lru_cache&) = delete;

  // The value of `key`, which becomes the one used last; none when absent.
  boost::optional<V> get(const K& key) {
    const V* value = touch(key);
    if (value == nullptr) return boost::none;
    return *value;
  }

  // get() without the copy: null when absent, else valid until the cache changes.
  const V* touch(const K& key) {
    const auto found = map_.find(key);
    if (found == map_.end()) return nullptr;
    // Moving the list node keeps its iterator valid, so the map entry needs no rewriting.
    keys_.splice(keys_.begin(), keys_, found->second.second);
    return &found->second.first;
  }

  // Adds `key` as the one used last; a full cache first drops the key used least recently. A key
  // that is present stays as it is, value and place: callers invalidate first.
  void insert(const K& key, const V& value) {
    const auto hint = map_.lower_bound(key);
    if (hint != map_.end() && !map_.key_comp()(key, hint->first)) return;
    if (map_.size() >= capacity_) {
      replace_back_(hint, key, value);
      return;
    }
    std::list<K> added(1, key);
    map_.emplace_hint(hint, key, Entry(value, added.begin()));
    keys_.splice(keys_.begin(), added);
  }

  // Drops `key`; false when it was absent.
  bool invalidate(const K& key) {
    const auto found = map_.find(key);
    if (found == map_.end()) return false;
    keys_.erase(found->second.second);
    map_.erase(found);
    return true;
  }

  // Drops everything.
  void clear() {
    map_.clear();
    keys_.clear();
  }

  std::size_t size() const { return map_.size(); }
  std::uint32_t capacity() const { return capacity_; }

 private:
  using Entry = std::pair<V, typename std::list<K>::iterator>;
  using Map = std::map<K, Entry>;

  // Puts (key, value) where the least recently used entry was: the nodes of map and list are kept,
  // so a full cache allocates for no more than the texts. Everything that can throw comes first.
  void replace_back_(typename Map::iterator hint, const K& key, const V& value) {
    if (keys_.empty()) return;  // a cache without capacity holds nothing
    K map_key(key);
    K list_key(key);
    V stored(value);
    const auto oldest = map_.find(keys_.back());
    if (hint == oldest) ++hint;
    auto node = map_.extract(oldest);
    keys_.splice(keys_.begin(), keys_, std::prev(keys_.end()));
    keys_.front() = std::move(list_key);
    node.key() = std::move(map_key);
    node.mapped().first = std::move(stored);
    map_.insert(hint, std::move(node));
  }

  Map map_;
  std::list<K> keys_;
  std::uint32_t capacity_;
};

}  // namespace kitbase

#endif  // KITBASE_LRU_CACHE_H_
