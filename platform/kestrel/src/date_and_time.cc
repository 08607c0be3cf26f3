// libyang's plugin still judges each value, and frees and copies what it made. Ours gives it a text
// that ends where it ends. Where libyang counts with 32 bits ours adds the canonical text, which
// libyang then takes for known, and compares and prints nothing else.
#include "date_and_time.h"

#include <libyang/plugins_types.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>

namespace kestrel {
namespace {

constexpr char kPluginId[] = "libyang 2 - date-and-time, version 1";
constexpr std::size_t kZoneSize = 6;  // "+02:00"
constexpr std::size_t kFractionAt = 19;
constexpr std::uint32_t kOwnsText = LYPLG_TYPE_STORE_DYNAMIC;
constexpr bool kIsNarrow = sizeof(long) == 4;  // libyang's time_t is a long

int number(std::string_view digits) {
  int value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

// Seconds east of Greenwich. An hour of 0 has no sign for libyang, so "-00:30" is half an hour
// east.
int offset_of(std::string_view zone) {
  if (zone.size() != kZoneSize) return 0;  // "Z"
  const int hours = number(zone.substr(1, 2));
  const int minutes = number(zone.substr(4, 2));
  return zone.front() == '-' && hours != 0 ? -(hours * 3600 + minutes * 60)
                                           : hours * 3600 + minutes * 60;
}

// Numbers that no calendar has, such as a 31st of June, are carried over.
std::time_t clock_of(std::string_view text) {
  std::tm parts{};
  parts.tm_year = number(text.substr(0, 4)) - 1900;
  parts.tm_mon = number(text.substr(5, 2)) - 1;
  parts.tm_mday = number(text.substr(8, 2));
  parts.tm_hour = number(text.substr(11, 2));
  parts.tm_min = number(text.substr(14, 2));
  parts.tm_sec = number(text.substr(17, 2));
  return timegm(&parts);
}

std::string to_text(const std::tm& parts, std::string_view fraction, const char* zone) {
  std::array<char, 96> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return text.data() + std::string(fraction) + zone;
}

std::string zone_text(long offset) {
  const long distance = offset < 0 ? -offset : offset;
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%c%02ld:%02ld", offset < 0 ? '-' : '+', distance / 3600,
                distance / 60 % 60);
  return text.data();
}

// libyang's own, which is the same for all leaves.
const lyplg_type* narrow = nullptr;

// An exception must not pass through libyang, which is C.
LY_ERR keep_canonical(const ly_ctx* context, std::string_view text, lyd_value* storage) noexcept {
  try {
    const std::string canonical = canonical_date_and_time(text);
    return lydict_insert(context, canonical.data(), canonical.size(), &storage->_canonical);
  } catch (const std::bad_alloc&) {
    return LY_EMEM;
  }
}

LY_ERR store(const ly_ctx* context, const lysc_type* type, const void* value, std::size_t size,
             std::uint32_t options, LY_VALUE_FORMAT format, void* prefixes, std::uint32_t hints,
             const lysc_node* node, lyd_value* storage, lys_glob_unres* unresolved,
             ly_err_item** error) {
  // libyang's reads numbers to the first character that is no digit, also behind the end, where a
  // union gives its members no zero.
  const std::unique_ptr<char, void (*)(void*)> text(static_cast<char*>(std::malloc(size + 1)),
                                                    std::free);
  if (text != nullptr) {
    std::copy_n(static_cast<const char*>(value), size, text.get());
    text.get()[size] = '\0';
  }
  if ((options & kOwnsText) != 0) std::free(const_cast<void*>(value));
  if (text == nullptr) return LY_EMEM;
  LY_ERR verdict = narrow->store(context, type, text.get(), size, options & ~kOwnsText, format,
                                 prefixes, hints, node, storage, unresolved, error);
  if (!kIsNarrow || verdict != LY_SUCCESS || storage->_canonical != nullptr) return verdict;
  verdict = keep_canonical(context, text.get(), storage);
  if (verdict != LY_SUCCESS) narrow->free(context, storage);
  return verdict;
}

LY_ERR compare(const lyd_value* one, const lyd_value* other) {
  const bool same =
      one->realtype == other->realtype && std::string_view(one->_canonical) == other->_canonical;
  return same ? LY_SUCCESS : LY_ENOT;
}

const void* print(const ly_ctx* /*context*/, const lyd_value* value, LY_VALUE_FORMAT /*format*/,
                  void* /*prefixes*/, ly_bool* dynamic, std::size_t* size) {
  if (dynamic != nullptr) *dynamic = 0;
  if (size != nullptr) *size = std::string_view(value->_canonical).size();
  return value->_canonical;
}

void widen(lysc_type* type) {
  if (type->plugin->id == std::string_view(kPluginId)) {
    static lyplg_type wide = [type] {
      narrow = type->plugin;
      lyplg_type made = *type->plugin;
      made.store = store;
      if (kIsNarrow) {
        made.compare = compare;
        made.print = print;
      }
      return made;
    }();
    if (type->plugin != &wide) type->plugin = &wide;
  } else if (type->basetype == LY_TYPE_UNION) {
    const auto* const choice = reinterpret_cast<const lysc_type_union*>(type);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(choice->types, i) { widen(choice->types[i]); }
  } else if (type->basetype == LY_TYPE_LEAFREF) {
    widen(reinterpret_cast<const lysc_type_leafref*>(type)->realtype);
  }
}

LY_ERR widen_node(lysc_node* node, void* /*data*/, ly_bool* /*skip*/) {
  if (node->nodetype == LYS_LEAF) widen(reinterpret_cast<lysc_node_leaf*>(node)->type);
  if (node->nodetype == LYS_LEAFLIST) widen(reinterpret_cast<lysc_node_leaflist*>(node)->type);
  return LY_SUCCESS;
}

}  // namespace

std::string canonical_date_and_time(std::string_view text) {
  const std::size_t zone_at = text.find_first_not_of(".0123456789", kFractionAt);
  if (zone_at == std::string_view::npos) return std::string(text);
  const std::string_view fraction = text.substr(kFractionAt, zone_at - kFractionAt);
  const std::string_view zone = text.substr(zone_at);
  const std::time_t clock = clock_of(text);
  std::tm parts{};
  if (zone == "-00:00") {
    gmtime_r(&clock, &parts);
    return to_text(parts, fraction, "-00:00");
  }
  const std::time_t time = clock - offset_of(zone);
  localtime_r(&time, &parts);
  return to_text(parts, fraction, zone_text(parts.tm_gmtoff).c_str());
}

void widen_date_and_time(const ly_ctx* context) {
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented != 0 && module->compiled != nullptr) {
      lysc_module_dfs_full(module, widen_node, nullptr);
    }
  }
}

}  // namespace kestrel
