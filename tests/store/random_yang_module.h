// Writes one module of a random schema, node by node.
#ifndef TESTS_STORE_RANDOM_YANG_MODULE_H_
#define TESTS_STORE_RANDOM_YANG_MODULE_H_

#include <string>
#include <vector>

#include "store/random_yang_nodes.h"

namespace nexa_test {

// What several modules of one schema share.
struct SchemaInProgress {
  explicit SchemaInProgress(Dice& source) : dice(source), expressions(source, schema, nodes) {}
  SchemaInProgress(const SchemaInProgress&) = delete;
  SchemaInProgress& operator=(const SchemaInProgress&) = delete;

  // Where an augment may add nodes.
  struct Target {
    std::string schema_path;
    Steps path;
    bool is_choice = false;
    bool is_case = false;
    bool is_conditional = false;
    int depth = 0;
  };

  Dice& dice;
  RandomSchema schema;
  std::vector<KnownNode> nodes;
  std::vector<Target> targets;
  ExpressionMaker expressions;
  int names = 0;
};

class ModuleMaker {
 public:
  ModuleMaker(SchemaInProgress& work, std::string prefix)
      : work_(work), dice_(work.dice), prefix_(std::move(prefix)) {}

  // Where a node is written.
  struct Spot {
    Steps path;               // of the data node above
    std::string schema_path;  // of the schema node above
    int depth = 0;
    bool is_conditional = false;
    bool in_case = false;
    bool in_default_case = false;
    bool is_shorthand = false;  // a choice, whose node has a case of its own name
    bool in_grouping = false;
    bool in_list = false;
    std::size_t first = 0;  // the first known node of the grouping
  };

  void header(const std::vector<std::string>& imports);
  void types();
  void top_level(int count);
  void augment(const SchemaInProgress::Target& target);
  void deviations(int count);
  std::string finish();

 private:
  void children(StatementWriter& out, const Spot& spot, int count);
  void child(StatementWriter& out, const Spot& spot);
  void leaf(StatementWriter& out, const Spot& spot);
  void leaf_list(StatementWriter& out, const Spot& spot);
  void container(StatementWriter& out, const Spot& spot);
  void list(StatementWriter& out, const Spot& spot);
  void uniques(StatementWriter& out, const Spot& inside);
  void choice(StatementWriter& out, const Spot& spot);
  void any(StatementWriter& out, const Spot& spot);
  void uses(StatementWriter& out, const Spot& spot);
  Value reference(StatementWriter& out, const Spot& spot, const Steps& own);
  Value type(StatementWriter& out, const Spot& spot, const Steps& own);
  std::string default_value(Value value);
  // True when the node got a condition.
  bool when(StatementWriter& out, const Spot& spot, const Steps& context, bool looks_below,
            unsigned percent);
  void musts(StatementWriter& out, const Spot& spot, const Steps& context, unsigned percent);
  void features(StatementWriter& out);
  void bounds(StatementWriter& out, bool may_demand);
  std::string name(char kind) { return kind + std::to_string(work_.names++); }
  Steps below(const Spot& spot, const std::string& name) const;
  std::string schema_below(const Spot& spot, const std::string& name) const {
    const std::string step = "/" + prefix_ + ":" + name;
    return spot.schema_path + (spot.is_shorthand ? step : "") + step;
  }
  KnownNode& remember(const Spot& spot, const std::string& name, Value value, bool conditional);

  SchemaInProgress& work_;
  Dice& dice_;
  const std::string prefix_;
  StatementWriter out_;
  std::string groupings_;
  std::vector<std::string> grouping_names_;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_RANDOM_YANG_MODULE_H_
