// A least-recently-used cache: a map for look-ups, a list for the order of use.
#ifndef KITBASE_LRU_CACHE_H_
#define KITBASE_LRU_CACHE_H_

#include <boost/optional.hpp>
#include <cstdint>
#include <list>
#include <map>
#include <utility>

namespace kitbase {

// Holds at most `capacity` entries; map and list always hold the same keys. The front of the list is
// the key used last, its back the one that goes next. Not thread-safe.
template <typename K, typename V>
class lru_cache {
 public:
  explicit lru_cache(std::uint32_t capacity) : capacity_(capacity) {}

  lru_cache(const lru_cache&) = delete;
  lru_cache& operator=(const lru_cache&) = delete;

  // The value of `key`, which becomes the one used last; none when absent.
  boost::optional<V> get(const K& key) {
    const auto found = map_.find(key);
    if (found == map_.end()) return boost::none;
    // Moving the list node keeps its iterator valid, so the map entry needs no rewriting.
    keys_.splice(keys_.begin(), keys_, found->second.second);
    return found->second.first;
  }

  // Adds `key` as the one used last; a full cache first drops the key used least recently. A key that
  // is present stays as it is, value and place: callers invalidate first.
  void insert(const K& key, const V& value) {
    const auto hint = map_.lower_bound(key);
    if (hint != map_.end() && !map_.key_comp()(key, hint->first)) return;
    if (map_.size() >= capacity_ && !keys_.empty()) drop_back_();
    keys_.push_front(key);
    map_.emplace(key, std::make_pair(value, keys_.begin()));
  }

  // Drops `key`; false when it was absent.
  bool invalidate(const K& key) {
    const auto found = map_.find(key);
    if (found == map_.end()) return false;
    keys_.splice(keys_.end(), keys_, found->second.second);
    drop_back_();
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
  void drop_back_() {
    map_.erase(keys_.back());
    keys_.pop_back();
  }

  std::map<K, std::pair<V, typename std::list<K>::iterator>> map_;
  std::list<K> keys_;
  std::uint32_t capacity_;
};

}  // namespace kitbase

#endif  // KITBASE_LRU_CACHE_H_
