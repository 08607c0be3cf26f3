// Statements that shape configuration, each with the substatements that RFC 7950 gives it.
#include "store/random_yang_module.h"

namespace nexa_test {
namespace {

constexpr int kDeepest = 4;

}  // namespace

Steps ModuleMaker::below(const Spot& spot, const std::string& name) const {
  Steps path = spot.path;
  path.push_back(prefix_ + ":" + name);
  return path;
}

KnownNode& ModuleMaker::remember(const Spot& spot, const std::string& name, Value value,
                                 bool conditional) {
  KnownNode node;
  node.path = below(spot, name);
  node.schema_path = schema_below(spot, name);
  node.value = value;
  node.is_conditional = conditional;
  work_.nodes.push_back(node);
  return work_.nodes.back();
}

void ModuleMaker::header(const std::vector<std::string>& imports) {
  out_.open("module " + prefix_);
  out_.line("yang-version 1.1;");
  out_.line("namespace \"urn:" + prefix_ + "\";");
  out_.line("prefix " + prefix_ + ";");
  for (const std::string& import : imports) {
    out_.line("import " + import + " { prefix " + import + "; }");
  }
}

void ModuleMaker::types() {
  for (const char* const feature : {"fea", "feb"}) {
    out_.line("feature " + std::string(feature) + ";");
    if (dice_.chance(70)) work_.schema.features[prefix_].push_back(feature);
  }
  work_.schema.features[prefix_];
  out_.line("identity id-base;");
  out_.line("identity id-a { base id-base; }");
  out_.line("identity id-b { base id-a; }");
  out_.line("identity id-c { base id-base; }");
  out_.line("typedef word { type string { length \"1..8\"; } default \"a\"; }");
  out_.line("typedef small { type int8 { range \"0..3 | 7\"; } }");
  out_.line("typedef either { type union { type small; type boolean; type string; } }");
  out_.line(
      "typedef mixed { type union { type enumeration { enum one; enum two; } "
      "type identityref { base id-base; } type decimal64 { fraction-digits 1; } type string; } }");
}

void ModuleMaker::features(StatementWriter& out) {
  if (prefix_ != "m" || !dice_.chance(5)) return;
  static const std::string conditions[] = {"fea", "feb", "not fea", "fea and feb", "fea or feb"};
  out.line("if-feature \"" + dice_.pick(conditions) + "\";");
}

bool ModuleMaker::when(StatementWriter& out, const Spot& spot, const Steps& context,
                       bool looks_below, unsigned percent) {
  if (!dice_.chance(percent)) return false;
  ExpressionMaker::Place place;
  place.context = context;
  place.first = spot.first;
  place.only_relative = spot.in_grouping;
  place.is_when = true;
  place.may_look_below = looks_below;
  const std::string text = work_.expressions.condition(place);
  if (text.empty()) return false;
  out.line("when \"" + text + "\";");
  return true;
}

void ModuleMaker::musts(StatementWriter& out, const Spot& spot, const Steps& context,
                        unsigned percent) {
  while (dice_.chance(percent)) {
    percent /= 3;
    ExpressionMaker::Place place;
    place.context = context;
    place.first = spot.first;
    place.only_relative = spot.in_grouping;
    place.may_look_below = true;
    const std::string text = work_.expressions.condition(place);
    if (text.empty()) return;
    out.line("must \"" + text + "\"" +
             (dice_.chance(20) ? " { error-message \"broken\"; error-app-tag \"t\"; }" : ";"));
  }
}

std::string ModuleMaker::default_value(Value value) {
  if (value == Value::kIdentity) return prefix_ == "m" ? "id-a" : "m:id-a";
  return sample(dice_, value);
}

Value ModuleMaker::reference(StatementWriter& out, const Spot& spot, const Steps& own) {
  ExpressionMaker::Place place;
  place.context = own;
  place.first = spot.first;
  place.only_relative = spot.in_grouping;
  const KnownNode* const target = work_.expressions.target(place, true);
  if (target == nullptr) {
    out.line("type string;");
    return Value::kString;
  }
  // The grammar of a path takes plain steps and key comparisons alone.
  std::string path;
  std::size_t shared = 0;
  if (!spot.in_grouping && dice_.chance(50)) {
    path = "/";
  } else {
    while (shared + 1 < own.size() && shared + 1 < target->path.size() &&
           own[shared] == target->path[shared]) {
      ++shared;
    }
    for (std::size_t i = own.size(); i > shared; --i) path += "../";
  }
  Steps upper(target->path.begin(), target->path.begin() + static_cast<std::ptrdiff_t>(shared));
  for (std::size_t i = shared; i < target->path.size(); ++i) {
    upper.push_back(target->path[i]);
    path += target->path[i];
    for (const KnownNode& node : work_.nodes) {
      if (node.path != upper || !node.is_list || !dice_.chance(15) || own.size() < 2) continue;
      for (std::size_t other = spot.first; other < work_.nodes.size(); ++other) {
        const KnownNode& sibling = work_.nodes[other];
        if (sibling.value == Value::kNone || sibling.path.size() != own.size()) continue;
        if (!std::equal(own.begin(), own.end() - 1, sibling.path.begin())) continue;
        path += "[" + node.key + "=current()/../" + sibling.path.back() + "]";
        break;
      }
    }
    if (i + 1 < target->path.size()) path += "/";
  }
  const std::string require =
      dice_.chance(25) ? std::string(" require-instance ") + (dice_.chance(70) ? "false;" : "true;")
                       : "";
  out.line("type leafref { path \"" + path + "\";" + require + " }");
  return Value::kReference;
}

Value ModuleMaker::type(StatementWriter& out, const Spot& spot, const Steps& own) {
  const std::string m = prefix_ == "m" ? "" : "m:";
  switch (dice_.below(24)) {
    case 0:
      out.line("type " + m + "small;");
      return Value::kNumber;
    case 1:
      out.line("type uint64 { range \"0..9\"; }");
      return Value::kNumber;
    case 2:
      out.line("type boolean;");
      return Value::kBoolean;
    case 3:
    case 4:
      out.line("type enumeration { enum one { value 1; } enum two; enum three { value 7; } }");
      return Value::kEnumeration;
    case 5:
      out.line("type bits { bit r; bit w; bit x { position 5; } }");
      return Value::kBits;
    case 6:
    case 7:
      out.line("type identityref { base " + m + "id-base; }");
      return Value::kIdentity;
    case 8:
    case 9:
    case 10:
    case 11:
      return reference(out, spot, own);
    case 12:
      out.line("type " + m + "either;");
      return Value::kUnion;
    case 13:
      out.line("type instance-identifier { require-instance " +
               std::string(dice_.chance(50) ? "true" : "false") + "; }");
      return Value::kOther;
    case 14:
      out.line("type decimal64 { fraction-digits 2; }");
      return Value::kOther;
    case 18:
      out.line("type " + m + "mixed;");
      return Value::kUnion;
    case 15:
      out.line("type empty;");
      return Value::kOther;
    case 16:
      out.line("type string { pattern \"[a-c1-2]+|true\"; }");
      return Value::kString;
    case 17:
      out.line("type " + m + "word;");
      return Value::kString;
    default:
      out.line("type string;");
      return Value::kString;
  }
}

void ModuleMaker::leaf(StatementWriter& out, const Spot& spot) {
  const std::string own = name('f');
  const Steps path = below(spot, own);
  out.open("leaf " + own);
  const bool has_when = when(out, spot, path, false, 15);
  features(out);
  const bool conditional = spot.is_conditional || has_when;
  const Value value = type(out, spot, path);
  musts(out, spot, path, 12);
  bool has_default = false;
  const bool may = !conditional || !work_.expressions.allow_all || work_.schema.has_chains;
  if (may && value != Value::kOther && value != Value::kReference && dice_.chance(30)) {
    out.line("default \"" + default_value(value) + "\";");
    has_default = true;
  } else if (!spot.in_default_case && (!spot.path.empty() || dice_.chance(15)) &&
             dice_.chance(12)) {
    out.line("mandatory true;");
  }
  if (dice_.chance(3)) out.line("units \"s\";");
  out.close();
  // A type of its own may bring a default.
  KnownNode& node = remember(spot, own, value, conditional);
  node.is_conditional_default = conditional && (has_default || value == Value::kString);
}

void ModuleMaker::bounds(StatementWriter& out, bool may_demand) {
  if (dice_.chance(20)) out.line("max-elements " + std::to_string(1 + dice_.below(3)) + ";");
  if (may_demand && dice_.chance(15)) {
    out.line("min-elements " + std::to_string(1 + dice_.below(2)) + ";");
  }
}

void ModuleMaker::leaf_list(StatementWriter& out, const Spot& spot) {
  const std::string own = name('s');
  const Steps path = below(spot, own);
  out.open("leaf-list " + own);
  const bool conditional = when(out, spot, path, false, 15) || spot.is_conditional;
  features(out);
  const Value value = type(out, spot, path);
  musts(out, spot, path, 10);
  const bool by_user = dice_.chance(50);
  if (by_user) out.line("ordered-by user;");
  const bool may = !conditional || !work_.expressions.allow_all || work_.schema.has_chains;
  const bool has_default = may && value == Value::kString && dice_.chance(25);
  if (has_default) {
    out.line("default \"a\";");
    if (dice_.chance(50)) out.line("default \"b\";");
  }
  bounds(out, !has_default && !spot.in_default_case);
  out.close();
  KnownNode& node = remember(spot, own, value, conditional);
  node.is_many = true;
  node.by_user = by_user;
  node.is_conditional_default = conditional && value == Value::kString;
}

void ModuleMaker::container(StatementWriter& out, const Spot& spot) {
  const std::string own = name('c');
  const Steps path = below(spot, own);
  out.open("container " + own);
  const bool has_when = when(out, spot, path, false, 15);
  const bool is_presence = dice_.chance(30);
  if (is_presence) out.line("presence \"There.\";");
  features(out);
  Spot inside = spot;
  inside.path = path;
  inside.schema_path = schema_below(spot, own);
  inside.depth = spot.depth + 1;
  inside.is_conditional = spot.is_conditional || has_when;
  inside.in_case = inside.is_shorthand = false;
  if (is_presence) inside.in_default_case = false;
  remember(spot, own, Value::kNone, inside.is_conditional).is_conditional_default =
      inside.is_conditional && !is_presence;
  children(out, inside, 2 + static_cast<int>(dice_.below(3)));
  musts(out, spot, path, 15);
  out.close();
  if (!spot.in_grouping) {
    work_.targets.push_back(
        {inside.schema_path, path, false, false, inside.is_conditional, inside.depth});
  }
}

void ModuleMaker::list(StatementWriter& out, const Spot& spot) {
  const std::string own = name('l');
  const Steps path = below(spot, own);
  out.open("list " + own);
  const bool has_when = when(out, spot, path, false, 12);
  const bool two_keys = dice_.chance(20);
  out.line(two_keys ? "key \"k j\";" : "key \"k\";");
  const bool by_user = dice_.chance(50);
  if (by_user) out.line("ordered-by user;");
  features(out);
  bounds(out, !spot.in_default_case);
  Spot inside = spot;
  inside.path = path;
  inside.schema_path = schema_below(spot, own);
  inside.depth = spot.depth + 1;
  inside.is_conditional = spot.is_conditional || has_when;
  inside.in_case = inside.is_shorthand = false;
  inside.in_default_case = false;
  inside.in_list = true;
  KnownNode& node = remember(spot, own, Value::kNone, inside.is_conditional);
  node.is_list = node.is_many = true;
  node.by_user = by_user;
  node.key = prefix_ + ":k";
  out.line("leaf k { type string; }");
  remember(inside, "k", Value::kString, inside.is_conditional);
  if (two_keys) {
    out.line("leaf j { type int8; }");
    remember(inside, "j", Value::kNumber, inside.is_conditional);
  }
  if (dice_.chance(40)) uniques(out, inside);
  children(out, inside, 1 + static_cast<int>(dice_.below(3)));
  musts(out, spot, path, 15);
  out.close();
  if (!spot.in_grouping) {
    work_.targets.push_back(
        {inside.schema_path, path, false, false, inside.is_conditional, inside.depth});
  }
}

// A leaf of the entry itself and one further down, one of them with a default perhaps.
void ModuleMaker::uniques(StatementWriter& out, const Spot& inside) {
  const std::string near = name('f');
  const std::string box = name('c');
  const std::string far = name('f');
  out.line("unique \"" + near + (dice_.chance(60) ? " " + box + "/" + far : "") + "\";");
  out.line("leaf " + near + " { type string; }");
  remember(inside, near, Value::kString, inside.is_conditional);
  out.open("container " + box);
  const bool may = !inside.is_conditional || !work_.expressions.allow_all;
  const bool has_default = may && dice_.chance(40);
  out.line("leaf " + far + " { type string; " + (has_default ? "default \"b\"; " : "") + "}");
  out.close();
  remember(inside, box, Value::kNone, inside.is_conditional).is_conditional_default =
      inside.is_conditional;
  Spot deeper = inside;
  deeper.path = below(inside, box);
  deeper.schema_path = schema_below(inside, box);
  remember(deeper, far, Value::kString, inside.is_conditional).is_conditional_default =
      inside.is_conditional && has_default;
}

void ModuleMaker::any(StatementWriter& out, const Spot& spot) {
  const std::string own = name('x');
  out.open((dice_.chance(60) ? "anydata " : "anyxml ") + own);
  const bool has_when = when(out, spot, below(spot, own), false, 15);
  if (!spot.in_default_case && dice_.chance(8)) out.line("mandatory true;");
  musts(out, spot, below(spot, own), 8);
  out.close();
  remember(spot, own, Value::kNone, spot.is_conditional || has_when);
}

void ModuleMaker::children(StatementWriter& out, const Spot& spot, int count) {
  for (int i = 0; i < count; ++i) child(out, spot);
}

void ModuleMaker::child(StatementWriter& out, const Spot& spot) {
  const bool is_deep = spot.depth >= kDeepest;
  const std::size_t kind = dice_.below(100);
  if (is_deep || kind < 36) return leaf(out, spot);
  if (kind < 50) return leaf_list(out, spot);
  if (kind < 63) return container(out, spot);
  if (kind < 78) return list(out, spot);
  if (kind < 90) return choice(out, spot);
  if (kind < 95) return any(out, spot);
  if (!spot.in_grouping) return uses(out, spot);
  leaf(out, spot);
}

}  // namespace nexa_test
