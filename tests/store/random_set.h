// Sets made at random over the loaded schema: updates, replaces and deletes, valid and not, aimed
// at what the configuration holds as well as at what it does not.
#ifndef TESTS_STORE_RANDOM_SET_H_
#define TESTS_STORE_RANDOM_SET_H_

#include <libyang/libyang.h>

#include <string>
#include <vector>

#include "store/config_store.h"
#include "store/dice.h"

namespace nexa_test {

class RandomSets {
 public:
  // Over kestrel::context(), which has to stay.
  explicit RandomSets(Dice& dice);

  bool is_empty() const { return targets_.empty(); }

  // The edits of one Set, their targets as paths alone; `current` is the configuration without
  // defaults, null when empty.
  std::vector<nexa::store::Edit> make(const lyd_node* current);

 private:
  struct Place {
    std::string before;  // elements around the target, opened and closed
    std::string after;
    gnmi::Path path;                     // to the target, without its own keys
    const lys_module* module = nullptr;  // of the innermost element
  };

  nexa::store::Edit edit(const lyd_node* current);
  nexa::store::Edit replace(const lysc_node* target, const lyd_node* current);
  nexa::store::Edit remove(const lyd_node* current);
  Place place_of(const lysc_node* target, const lyd_node* current);
  std::string node(const lysc_node* schema, const lys_module* around, int depth);
  std::string entry(const lysc_node* schema, const lys_module* around, int depth,
                    const std::vector<std::string>& keys);
  std::string instances(const lysc_node* schema, const lys_module* around, int depth, int most);
  std::string content(const lysc_node* parent, int depth, bool all);
  std::string choice(const lysc_node* schema, int depth, bool must);
  std::string term(const lysc_node* schema, const lys_module* around, const std::string& value);
  std::string value(const lysc_type* type);
  std::string any(const lysc_node* schema, const lys_module* around);
  std::vector<std::string> new_keys(const lysc_node* list);

  Dice& dice_;
  std::vector<const lysc_node*> targets_;
  const lyd_node* current_ = nullptr;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_RANDOM_SET_H_
