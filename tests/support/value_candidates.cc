// Candidate texts by type: the ends of ranges, every enum, texts that careless conversions damage.
#include <libyang/plugins_types.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "support/instance_generator.h"
#include "support/libyang_arrays.h"

namespace nexa_test {
namespace {

std::size_t pick(std::size_t limit, std::mt19937& random) { return random() % limit; }

std::string decimal(std::int64_t value, unsigned digits) {
  const bool negative = value < 0;
  std::string text = std::to_string(negative ? 0ULL - static_cast<std::uint64_t>(value)
                                             : static_cast<std::uint64_t>(value));
  while (text.size() <= digits) text.insert(0, "0");
  text.insert(text.size() - digits, ".");
  return (negative ? "-" : "") + text;
}

struct Bounds {
  std::int64_t least = 0;
  std::uint64_t most = 0;
};

Bounds bounds_of(LY_DATA_TYPE type) {
  switch (type) {
    case LY_TYPE_INT8:
      return {-128, 127};
    case LY_TYPE_INT16:
      return {-32768, 32767};
    case LY_TYPE_INT32:
      return {std::numeric_limits<std::int32_t>::min(), 2147483647};
    case LY_TYPE_UINT8:
      return {0, 255};
    case LY_TYPE_UINT16:
      return {0, 65535};
    case LY_TYPE_UINT32:
      return {0, 4294967295};
    case LY_TYPE_UINT64:
      return {0, std::numeric_limits<std::uint64_t>::max()};
    default:
      return {std::numeric_limits<std::int64_t>::min(),
              static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())};
  }
}

bool is_unsigned(LY_DATA_TYPE type) {
  return type == LY_TYPE_UINT8 || type == LY_TYPE_UINT16 || type == LY_TYPE_UINT32 ||
         type == LY_TYPE_UINT64;
}

std::string number(const lysc_type* type, std::mt19937& random) {
  const bool is_decimal = type->basetype == LY_TYPE_DEC64;
  const lysc_range* range = is_decimal ? reinterpret_cast<const lysc_type_dec*>(type)->range
                                       : reinterpret_cast<const lysc_type_num*>(type)->range;
  Bounds bounds = bounds_of(type->basetype);
  if (range != nullptr && LY_ARRAY_COUNT(range->parts) > 0) {
    const auto& part = range->parts[pick(count_of(range->parts), random)];
    bounds.least = part.min_64;
    bounds.most = part.max_u64;
  }
  const std::uint64_t span = bounds.most - static_cast<std::uint64_t>(bounds.least);
  std::uint64_t value = static_cast<std::uint64_t>(bounds.least);
  switch (pick(3, random)) {
    case 0:
      break;
    case 1:
      value = bounds.most;
      break;
    default:
      value += span == std::numeric_limits<std::uint64_t>::max() ? random() : random() % (span + 1);
  }
  const auto digits =
      is_decimal ? reinterpret_cast<const lysc_type_dec*>(type)->fraction_digits : 0U;
  if (is_decimal) return decimal(static_cast<std::int64_t>(value), digits);
  return is_unsigned(type->basetype) ? std::to_string(value)
                                     : std::to_string(static_cast<std::int64_t>(value));
}

std::string string_text(const lysc_type* type, std::mt19937& random) {
  static const std::array<const char*, 24> kTexts = {"n",
                                                     "u",
                                                     "l",
                                                     "*",
                                                     " ",
                                                     "  ",
                                                     "a b",
                                                     "null",
                                                     "[null]",
                                                     "",
                                                     "true",
                                                     "0",
                                                     "\xC3\xA9t\xC3\xA9",
                                                     "\xF0\x9F\x98\x80 face",
                                                     "<a&b>\"'",
                                                     "tab\there",
                                                     "line\nbreak",
                                                     "example-device:x",
                                                     "openconfig-interfaces:mtu",
                                                     "ietf-interfaces:",
                                                     "fe80::1",
                                                     "a/b[c='d']",
                                                     " lead",
                                                     "trail "};
  static const std::array<const char*, 22> kShaped = {"10.0.0.1",
                                                      "10.0.0.0/8",
                                                      "2001:db8::1",
                                                      "2001:db8::/32",
                                                      "00:11:22:33:44:55",
                                                      "2024-02-29T12:00:00Z",
                                                      "2024-02-29",
                                                      "12:00:00Z",
                                                      "host.example.com",
                                                      "65000:1",
                                                      "1.2.3.4:5",
                                                      "0x1f",
                                                      "aa:bb",
                                                      "49.0001.1921.6800.1001.00",
                                                      "1",
                                                      "ABCDEF0123456789",
                                                      "/",
                                                      "$0$secret",
                                                      "224.0.0.1",
                                                      "224.0.0.0/4",
                                                      "ff02::1",
                                                      "ff00::/8"};
  const auto* of_string = reinterpret_cast<const lysc_type_str*>(type);
  // libyang's JSON parser lets prefixes of an XPath pass that no module has; its XML parser does
  // not.
  if (type->plugin->id != nullptr && std::strstr(type->plugin->id, "xpath") != nullptr) {
    return pick(2, random) == 0 ? "a/b" : "count(c) > 1";
  }
  // Months and hours beyond their range are normalised to years that the pattern does not take.
  if (type->plugin->id != nullptr && std::strstr(type->plugin->id, "date") != nullptr) {
    return pick(2, random) == 0 ? "2024-02-29T12:00:00Z" : "1999-12-31T23:59:59.25+01:00";
  }
  if (type->plugin->id != nullptr && std::strstr(type->plugin->id, "instance") != nullptr)
    return "/";
  const std::size_t patterns = count_of(of_string->patterns);
  if (patterns > 0 && pick(4, random) != 0) {
    const lysc_pattern* pattern = of_string->patterns[pick(patterns, random)];
    if (pattern->inverted == 0) return sample_pattern(pattern->expr, random);
  }
  if (patterns > 0) return kShaped[pick(kShaped.size(), random)];
  if (of_string->length != nullptr && LY_ARRAY_COUNT(of_string->length->parts) > 0) {
    const auto& part = of_string->length->parts[pick(count_of(of_string->length->parts), random)];
    const std::uint64_t size = pick(2, random) == 0 ? part.min_u64 : part.max_u64;
    return std::string(static_cast<std::size_t>(std::min<std::uint64_t>(size, 70000)), 'q');
  }
  if (pick(400, random) == 0) return std::string(33000 + pick(5000, random), 'w');
  return kTexts[pick(kTexts.size(), random)];
}

void collect(const lysc_ident* base, std::vector<const lysc_ident*>& found) {
  for (LY_ARRAY_COUNT_TYPE index = 0; index < LY_ARRAY_COUNT(base->derived); ++index) {
    found.push_back(base->derived[index]);
    collect(base->derived[index], found);
  }
}

std::string identity(const lysc_node* node, const lysc_type* type, std::mt19937& random) {
  const auto* of_identity = reinterpret_cast<const lysc_type_identityref*>(type);
  std::vector<const lysc_ident*> found;
  collect(of_identity->bases[0], found);
  if (found.empty()) return {};
  const lysc_ident* one = found[pick(found.size(), random)];
  if (one->module == node->module && pick(2, random) == 0) return one->name;
  return std::string(one->module->name) + ":" + one->name;
}

// The path of some top-level container.
std::string instance(const ly_ctx* context, std::mt19937& random) {
  std::uint32_t index = 0;
  std::vector<std::string> paths;
  while (const lys_module* module = ly_ctx_get_module_iter(context, &index)) {
    if (!in_schema(module->ns) || module->compiled == nullptr) continue;
    for (const lysc_node* node = module->compiled->data; node != nullptr; node = node->next) {
      if (node->nodetype == LYS_CONTAINER) {
        paths.push_back("/" + std::string(module->name) + ":" + node->name);
      }
    }
  }
  return paths.empty() ? "/" : paths[pick(paths.size(), random)];
}

std::string bits(const lysc_type* type, std::mt19937& random) {
  const auto* of_bits = reinterpret_cast<const lysc_type_bits*>(type);
  std::string text;
  for (LY_ARRAY_COUNT_TYPE index = 0; index < LY_ARRAY_COUNT(of_bits->bits); ++index) {
    if (pick(2, random) == 0)
      text += (text.empty() ? "" : " ") + std::string(of_bits->bits[index].name);
  }
  return text;
}

}  // namespace

std::string candidate_text(const ly_ctx* context, const lysc_node* node, const lysc_type* type,
                           std::mt19937& random) {
  switch (type->basetype) {
    case LY_TYPE_UNION: {
      const auto* of_union = reinterpret_cast<const lysc_type_union*>(type);
      return candidate_text(context, node, of_union->types[pick(count_of(of_union->types), random)],
                            random);
    }
    case LY_TYPE_LEAFREF:
      return candidate_text(context, node,
                            reinterpret_cast<const lysc_type_leafref*>(type)->realtype, random);
    case LY_TYPE_BOOL:
      return pick(2, random) == 0 ? "true" : "false";
    case LY_TYPE_EMPTY:
      return {};
    case LY_TYPE_ENUM: {
      const auto* of_enum = reinterpret_cast<const lysc_type_enum*>(type);
      return of_enum->enums[pick(count_of(of_enum->enums), random)].name;
    }
    case LY_TYPE_BITS:
      return bits(type, random);
    case LY_TYPE_IDENT:
      return identity(node, type, random);
    case LY_TYPE_INST:
      return instance(context, random);
    case LY_TYPE_BINARY: {
      static const std::array<const char*, 5> kBlobs = {"", "YQ==", "YWI=", "YWJj", "/+8BAgME"};
      return kBlobs[pick(kBlobs.size(), random)];
    }
    case LY_TYPE_STRING:
      return string_text(type, random);
    default:
      return number(type, random);
  }
}

}  // namespace nexa_test
