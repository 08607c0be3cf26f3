// Statements that stand around nodes without being data: choice, case, uses, augment, deviation;
// and the schema as a whole.
#include "store/random_yang_module.h"

namespace nexa_test {

void ModuleMaker::choice(StatementWriter& out, const Spot& spot) {
  const std::string own = name('h');
  out.open("choice " + own);
  const bool has_when = when(out, spot, spot.path, true, 12);
  features(out);
  Spot inside = spot;
  inside.schema_path = schema_below(spot, own);
  inside.depth = spot.depth + 1;
  inside.is_conditional = spot.is_conditional || has_when;
  inside.in_case = true;
  if (!spot.in_grouping) {
    work_.targets.push_back(
        {inside.schema_path, spot.path, true, false, inside.is_conditional, inside.depth});
  }
  const std::size_t count = 2 + dice_.below(2);
  const std::size_t chosen = dice_.chance(40) ? dice_.below(count) : count;
  if (chosen == count && !spot.in_default_case && dice_.chance(25)) out.line("mandatory true;");
  for (std::size_t i = 0; i < count; ++i) {
    Spot here = inside;
    here.in_default_case = i == chosen || spot.in_default_case;
    if (i != chosen && dice_.chance(15)) {  // a case without the statement
      here.is_shorthand = true;
      dice_.chance(50) ? container(out, here) : list(out, here);
      continue;
    }
    const std::string label = name('k');
    if (i == chosen) out.line("default " + label + ";");
    out.open("case " + label);
    if (i != chosen && when(out, here, spot.path, true, 15)) here.is_conditional = true;
    here.schema_path = schema_below(inside, label);
    if (!spot.in_grouping) {
      work_.targets.push_back(
          {here.schema_path, spot.path, false, true, here.is_conditional, here.depth});
    }
    const std::size_t nodes = 1 + dice_.below(2);
    for (std::size_t j = 0; j < nodes; ++j) {
      const std::size_t kind = dice_.below(10);
      if (kind < 5 || here.depth > 3) {
        leaf(out, here);
      } else if (kind < 7) {
        leaf_list(out, here);
      } else if (kind == 7) {
        choice(out, here);
      } else if (kind == 8) {
        container(out, here);
      } else {
        list(out, here);
      }
    }
    out.close();
  }
  out.close();
}

void ModuleMaker::uses(StatementWriter& out, const Spot& spot) {
  const std::string label = name('g');
  const std::size_t first = work_.nodes.size();
  out.open("uses " + label);
  const bool has_when = when(out, spot, spot.path, true, 30);
  Spot inside = spot;
  inside.in_grouping = true;
  inside.first = first;
  inside.is_conditional = spot.is_conditional || has_when;
  StatementWriter grouping;
  grouping.open("grouping " + label);
  children(grouping, inside, 2);
  grouping.close();
  groupings_ += grouping.text();
  for (std::size_t i = first; i < work_.nodes.size() && dice_.chance(60); ++i) {
    const KnownNode node = work_.nodes[i];
    if (node.path.size() != spot.path.size() + 1) continue;
    const std::string target = node.schema_path.substr(spot.schema_path.size() + 1);
    if (node.value == Value::kString && !node.is_many) {
      if (dice_.chance(50) && !inside.is_conditional) {
        out.line("refine \"" + target + "\" { default \"b\"; }");
      } else {
        out.line("refine \"" + target + "\" { must \". != 'c'\"; }");
      }
    } else if (node.is_many) {
      out.line("refine \"" + target + "\" { max-elements 2; }");
    } else if (node.value == Value::kNone && !node.is_list && node.path.back()[2] == 'c') {
      out.open("augment \"" + target + "\"");
      Spot deeper = inside;
      deeper.path = node.path;
      deeper.schema_path = node.schema_path;
      deeper.depth = spot.depth + 2;
      if (when(out, deeper, node.path, true, 40)) deeper.is_conditional = true;
      leaf(out, deeper);
      out.close();
    }
  }
  out.close();
}

void ModuleMaker::augment(const SchemaInProgress::Target& target) {
  Spot spot;
  spot.path = target.path;
  spot.schema_path = target.schema_path;
  spot.depth = target.depth + 1;
  spot.is_conditional = target.is_conditional;
  spot.in_case = target.is_choice || target.is_case;
  spot.in_default_case = true;  // augments into other modules demand nothing
  out_.open("augment \"" + target.schema_path + "\"");
  if (when(out_, spot, spot.path, true, 40)) spot.is_conditional = true;
  if (target.is_choice) {
    out_.open("case " + name('k'));
    leaf(out_, spot);
    leaf_list(out_, spot);
    out_.close();
  } else {
    children(out_, spot, 2);
  }
  out_.close();
}

void ModuleMaker::deviations(int count) {
  for (int i = 0; i < count && !work_.nodes.empty(); ++i) {
    const KnownNode& node = dice_.pick(work_.nodes);
    if (node.schema_path.find("/n:") != std::string::npos) continue;
    const bool is_key = node.path.back() == "m:k" || node.path.back() == "m:j";
    if (is_key) continue;
    out_.open("deviation \"" + node.schema_path + "\"");
    if (node.is_many && dice_.chance(70)) {
      out_.line("deviate add { must \"count(.) < 2\"; }");
    } else if (node.is_many) {
      out_.line("deviate add { max-elements 2; }");
    } else if (node.value == Value::kString && dice_.chance(60)) {
      out_.line("deviate add { default \"c\"; must \". != 'b'\"; }");
    } else if (node.value == Value::kString) {
      out_.line("deviate replace { type string { length \"0..4\"; } }");
    } else if (node.value == Value::kNumber) {
      out_.line("deviate replace { type int16 { range \"0..2\"; } }");
    } else if (dice_.chance(40)) {
      out_.line("deviate not-supported;");
    } else {
      out_.line("deviate add { must \"true()\"; }");
    }
    out_.close();
  }
}

void ModuleMaker::top_level(int count) {
  Spot spot;
  spot.depth = 0;
  for (int i = 0; i < count; ++i) {
    const std::size_t kind = dice_.below(20);
    if (kind < 12) {
      container(out_, spot);
    } else if (kind < 14) {
      list(out_, spot);
    } else if (kind < 16) {
      choice(out_, spot);
    } else if (kind < 17) {
      leaf_list(out_, spot);
    } else if (kind < 18) {
      any(out_, spot);
    } else {
      leaf(out_, spot);
    }
  }
  if (dice_.chance(20)) out_.line("leaf " + name('f') + " { config false; type string; }");
  if (dice_.chance(10)) out_.line("rpc " + name('r') + " { input { leaf a { type string; } } }");
  if (dice_.chance(10)) out_.line("notification " + name('e') + " { leaf a { type string; } }");
}

std::string ModuleMaker::finish() {
  out_.add(groupings_);
  out_.close();
  return out_.text();
}

RandomSchema random_schema(Dice& dice) {
  SchemaInProgress work(dice);
  const std::size_t mode = dice.below(20);
  work.schema.has_chains = mode < 3;
  work.expressions.allow_wild = mode < 14;
  work.expressions.allow_all = mode < 3 || (mode >= 10 && mode < 14);
  work.expressions.allow_crash = mode == 13;

  ModuleMaker main(work, "m");
  main.header({});
  main.types();
  main.top_level(1 + static_cast<int>(dice.below(3)));
  work.schema.modules["m"] = main.finish();
  if (dice.chance(40)) {
    ModuleMaker other(work, "n");
    other.header({"m"});
    if (dice.chance(60)) other.top_level(1);
    const std::size_t augments = 1 + dice.below(2);
    for (std::size_t i = 0; i < augments && !work.targets.empty(); ++i) {
      const SchemaInProgress::Target target = dice.pick(work.targets);
      // libyang 2.1.30 does not find what one module adds to a case of another one's top-level
      // choice (RFC 7950, section 7.17), and loops for ever over a default of it.
      if (target.path.empty()) continue;
      if (target.schema_path.find("/n:") == std::string::npos) other.augment(target);
    }
    work.schema.modules["n"] = other.finish();
  }
  if (dice.chance(20)) {
    ModuleMaker deviations(work, "d");
    deviations.header({"m"});
    deviations.deviations(2);
    work.schema.modules["d"] = deviations.finish();
  }
  return work.schema;
}

}  // namespace nexa_test
