// Which binding does an item have? The bindings stand in an arena in the order of the walk; an
// index from address to position finds them. Knows nothing of JSON but that two items never
// overlap.
#include <grpc/support/log.h>

#include <array>
#include <bit>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "nexa/cjson_csnode.h"

namespace nexa {
namespace {

// Bindings at stable addresses, found by number. A chunk holds twice as many as the one before it.
class BindingArena {
 public:
  // Adds a binding; its number is what count() was before.
  cJsonCsnode& add(cJSON* item, kestrel_cs_node* node) {
    if (count_ == room_) add_chunk();
    cJsonCsnode& binding = chunks_.back().emplace_back(item, node);
    ++count_;
    return binding;
  }

  std::uint32_t count() const { return count_; }

  cJsonCsnode& at(std::uint32_t number) {
    // The chunks before one of size n hold n - kFirstChunk together.
    const std::size_t rank = number / kFirstChunk + 1;
    const std::size_t before = kFirstChunk * (std::bit_floor(rank) - 1);
    return chunks_[static_cast<std::size_t>(std::bit_width(rank)) - 1][number - before];
  }

 private:
  static constexpr std::size_t kFirstChunk = 32;

  void add_chunk() {
    const std::size_t size = kFirstChunk << chunks_.size();
    std::vector<cJsonCsnode> chunk;
    chunk.reserve(size);
    chunks_.push_back(std::move(chunk));
    room_ += size;
  }

  std::vector<std::vector<cJsonCsnode>> chunks_;  // none ever grows beyond what it reserved
  std::uint32_t count_ = 0;
  std::size_t room_ = 0;
};

// Memory seen as pages of blocks. A block is no larger than an item, so at most one item begins in
// it, and one number for each block is enough.
constexpr std::uintptr_t kBlockSize = std::bit_floor(sizeof(cJSON));
constexpr std::uintptr_t kPageSize = 4096;

// What a block's number says: nothing begins here; an item without binding begins at this offset of
// the block; or, from kFirstBinding on, the binding's number in the arena.
constexpr std::uint32_t kAbsent = 0;
constexpr std::uint32_t kFirstUnbound = 1;
constexpr std::uint32_t kFirstBinding = kFirstUnbound + static_cast<std::uint32_t>(kBlockSize);

std::uintptr_t address_of(const cJSON* item) { return reinterpret_cast<std::uintptr_t>(item); }

std::uint32_t unbound_mark(const cJSON* item) {
  return kFirstUnbound + static_cast<std::uint32_t>(address_of(item) % kBlockSize);
}

// A number for each block of memory, 0 until it is set. Items that are made one after the other
// mostly share pages, so the pages used last answer without a look-up.
class BlockMarks {
 public:
  std::uint32_t get(const cJSON* item) {
    const Page* page = find(address_of(item) / kPageSize);
    return page != nullptr ? (*page)[index_of(item)] : kAbsent;
  }

  std::uint32_t& obtain(const cJSON* item) {
    const std::uintptr_t number = address_of(item) / kPageSize;
    Page* page = find(number);
    if (page == nullptr) page = remember(number, &pages_[number]);
    return (*page)[index_of(item)];
  }

 private:
  using Page = std::array<std::uint32_t, kPageSize / kBlockSize>;
  struct Recent {
    std::uintptr_t number = 0;
    Page* page = nullptr;
  };

  static std::size_t index_of(const cJSON* item) {
    return (address_of(item) % kPageSize) / kBlockSize;
  }

  Page* find(std::uintptr_t number) {
    const Recent& recent = recent_[number % recent_.size()];
    if (recent.page != nullptr && recent.number == number) return recent.page;
    const auto found = pages_.find(number);
    return found != pages_.end() ? remember(number, &found->second) : nullptr;
  }

  Page* remember(std::uintptr_t number, Page* page) {
    recent_[number % recent_.size()] = {number, page};
    return page;
  }

  std::unordered_map<std::uintptr_t, Page> pages_;
  std::array<Recent, 16> recent_;
};

}  // namespace

// An item has at most one entry: in its block, or in `overflow` when another pointer has the block,
// which happens only to pointers that are no items.
struct Json2cJsonCsnodeHash::Store {
  struct Entry {
    bool present = false;
    cJsonCsnode* binding = nullptr;
  };

  Entry look_up(const cJSON* item) {
    const std::uint32_t mark = marks.get(item);
    if (mark == kAbsent) return {};
    if (mark >= kFirstBinding) {
      cJsonCsnode& binding = arena.at(mark - kFirstBinding);
      if (binding.cjson == item) return {true, &binding};
    } else if (mark == unbound_mark(item)) {
      return {true, nullptr};
    }
    const auto found = overflow.find(item);
    return found != overflow.end() ? Entry{true, found->second} : Entry{};
  }

  // Whether the item's block is free or already the item's own.
  bool may_take(std::uint32_t mark, const cJSON* item) {
    if (mark == kAbsent) return true;
    if (mark < kFirstBinding) return mark == unbound_mark(item);
    return arena.at(mark - kFirstBinding).cjson == item;
  }

  void set(const cJSON* item, std::uint32_t mark, cJsonCsnode* binding) {
    std::uint32_t& block = marks.obtain(item);
    if (may_take(block, item)) {
      block = mark;
    } else {
      overflow[item] = binding;
    }
  }

  BindingArena arena;
  BlockMarks marks;
  std::unordered_map<const cJSON*, cJsonCsnode*> overflow;
  std::size_t size = 0;
};

Json2cJsonCsnodeHash::Json2cJsonCsnodeHash() : store_(std::make_unique<Store>()) {}

Json2cJsonCsnodeHash::~Json2cJsonCsnodeHash() { gpr_log(GPR_DEBUG, "in %s", __func__); }

cJsonCsnode* Json2cJsonCsnodeHash::get_cjson_csnode(cJSON* item) {
  const Store::Entry entry = store_->look_up(item);
  if (entry.present) return entry.binding;
  store_->set(item, unbound_mark(item), nullptr);
  ++store_->size;
  return nullptr;
}

cJsonCsnode* Json2cJsonCsnodeHash::find(const cJSON* item) const {
  return store_->look_up(item).binding;
}

bool Json2cJsonCsnodeHash::contains(const cJSON* item) const {
  return store_->look_up(item).present;
}

cJsonCsnode* Json2cJsonCsnodeHash::bind(cJSON* item, kestrel_cs_node* node) {
  const std::uint32_t number = store_->arena.count();
  std::uint32_t& block = store_->marks.obtain(item);
  if (block == kAbsent) {  // as for every item that a walk meets first
    cJsonCsnode& binding = store_->arena.add(item, node);
    block = kFirstBinding + number;
    ++store_->size;
    return &binding;
  }
  const Store::Entry entry = store_->look_up(item);
  if (entry.binding != nullptr && entry.binding->cs_node == node) return entry.binding;
  // A superseded binding stays in the arena: a caller may still hold it.
  cJsonCsnode& binding = store_->arena.add(item, node);
  store_->set(item, kFirstBinding + number, &binding);
  if (!entry.present) ++store_->size;
  return &binding;
}

std::size_t Json2cJsonCsnodeHash::size() const { return store_->size; }

}  // namespace nexa
