// Deletions by validation are rare, so documents are read again only then.
#include "store/given_nodes.h"

#include <string>

#include "store/change.h"
#include "store/document_check.h"
#include "store/image/image_difference.h"
#include "store/image/image_import.h"
#include "store/image/image_path.h"
#include "store/image_merge.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

constexpr char kGivesWay[] = "gives way to other nodes of the same transaction";

// Collects the chains of the configured nodes that went; what went with its parent is told by it.
void collect(const ImageInner* edited, const ImageInner* judged, ImageChain& chain,
             std::vector<ImageChain>& lost) {
  each_child_difference(edited, judged, [&](const NodeDifference& node) {
    if (node.before == nullptr) return;
    chain.push_back(node.before);
    if (node.after == nullptr) {
      if (!node.before->is_default()) lost.push_back(chain);
    } else if (node.before->kind() == ImageKind::kInner) {
      collect(&node.before->inner(), &node.after->inner(), chain, lost);
    }
    chain.pop_back();
  });
}

bool stands_for(const lyd_node* node, const ImageNode& image) {
  if (node->schema != image.schema()) return false;
  if ((node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) return true;
  return tree_key(node) == image_key(image);
}

// Whether a node of a document, which stands for `image`, gives something of it. A container
// without presence is no more than what is in it (RFC 7950, section 7.5.1), and that may be what
// other edits left of the document's.
bool gives(const lyd_node* node, const ImageNode& image) {
  const lysc_node* const schema = node->schema;
  if (schema->nodetype != LYS_CONTAINER || (schema->flags & LYS_PRESENCE) != 0) return true;
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    const ImageNode* const match = find_in_image(image.inner(), child);
    if (match != nullptr && gives(child, *match)) return true;
  }
  return false;
}

// Whether the document gives what stood at the end of the chain.
bool holds(const lyd_node* document, const ImageChain& chain) {
  const lyd_node* given = nullptr;
  for (const ImageNode* const step : chain) {
    given = document;
    while (given != nullptr && !stands_for(given, *step)) given = given->next;
    if (given == nullptr) return false;
    document = lyd_child(given);
  }
  return given != nullptr && gives(given, *chain.back());
}

Violation violation_of(const ImageChain& chain) {
  Violation violation;
  const lysc_node* parent = nullptr;
  for (const ImageNode* const step : chain) {
    append_path_step(*step, parent, violation.path);
    parent = step->schema();
  }
  violation.rule = kGivesWay;
  const lysc_node* schema = chain.back()->schema();
  do {
    const lysc_when* const* const whens = lysc_node_when(schema);
    if (whens != nullptr) {
      violation.rule = "when \"" + std::string(lyxp_get_expr(whens[0]->cond)) + "\"";
    }
    schema = whens != nullptr ? nullptr : schema->parent;
  } while (schema != nullptr && (schema->nodetype & (LYS_CHOICE | LYS_CASE)) != 0);
  return violation;
}

}  // namespace

std::optional<LostNode> lost_node(const std::vector<Edit>& edits, const ImageInner& edited,
                                  const ImageInner& judged) {
  std::vector<ImageChain> lost;
  ImageChain chain;
  collect(&edited, &judged, chain, lost);
  if (lost.empty()) return std::nullopt;
  for (std::size_t i = edits.size(); i-- > 0;) {
    TreePtr document;
    if (edits[i].kind == Edit::Kind::kDelete ||
        read_nodes(inner_xml(edits[i].xml), document).has_value()) {
      continue;
    }
    for (const ImageChain& gone : lost) {
      if (holds(document.get(), gone)) return LostNode{violation_of(gone), static_cast<int>(i)};
    }
  }
  return std::nullopt;
}

}  // namespace nexa::store
