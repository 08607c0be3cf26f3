// Searches from both ends.
#include "store/siblings.h"

namespace nexa::store {
const lyd_node* some_instance(const lyd_node* first, const lysc_node* schema) {
  if (first == nullptr) return nullptr;
  const lyd_node* front = first;
  const lyd_node* back = first->prev;
  while (true) {
    if (front->schema == schema) return front;
    if (back->schema == schema) return back;
    // One list between the two: all that is left belongs to it.
    if (front == back || front->next == back) return nullptr;
    if (front->schema == back->schema && front->schema != nullptr) return nullptr;
    front = front->next;
    back = back->prev;
  }
}

const lyd_node* first_instance(const lyd_node* first, const lysc_node* schema) {
  const lyd_node* node = some_instance(first, schema);
  if (node == nullptr) return nullptr;
  while (node != first && node->prev->schema == schema) node = node->prev;
  return node;
}

}  // namespace nexa::store
