// Joins which nodes a path names with how their values are written.
#include "store/tree_snapshot.h"

#include "store/change.h"
#include "store/image/image_import.h"
#include "store/image/image_xml.h"
#include "store/reading/json_value.h"
#include "store/reading/selection.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

constexpr char kNoElement[] = "the document has no top element";

class ParsedState : public StateTree {
 public:
  explicit ParsedState(ImagePtr image) : image_(std::move(image)) {}
  const ImageInner* top() const { return image_.get(); }

 private:
  ImagePtr image_;
};

// Writes values as nodes are found.
class Writer {
 public:
  Writer(const Query& query, const ValueSink& sink)
      : query_(query),
        sink_(sink),
        form_{query.part, query.encoding != gnmi::JSON},
        qualify_names_(query.target.path.elem().empty() ? form_.qualify
                                                        : query.target.qualifies_names()) {}

  void whole_tree(const ImageInner* config, const ImageInner* state, gnmi::Path& path) {
    if (query_.form == Form::kLeaves) {
      for_each_leaf_of_tree(config, state, form_, qualify_names_, sink_);
      return;
    }
    std::string json;
    if (append_tree(config, state, form_, json)) sink_(path, json);
  }

  void found(const NodePair& node, gnmi::Path& path) {
    if (query_.form == Form::kLeaves) {
      for_each_leaf(node, path, form_, qualify_names_, sink_);
      return;
    }
    std::string json;
    if (append_value(node, form_, json)) sink_(path, json);
  }

 private:
  const Query& query_;
  const ValueSink& sink_;
  const JsonForm form_;
  const bool qualify_names_;
};

}  // namespace

grpc::Status TreeSnapshot::read(const Query& query, const StateTree* state,
                                const ValueSink& sink) const {
  const ImageInner* const data = state != nullptr && query.part != DataPart::kConfig
                                     ? static_cast<const ParsedState*>(state)->top()
                                     : nullptr;
  Writer writer(query, sink);
  const auto found = [&](const NodePair& node, gnmi::Path& path) {
    if (node.any() == nullptr) {
      writer.whole_tree(image_.get(), data, path);
    } else {
      writer.found(node, path);
    }
  };
  select_nodes(query.target, image_.get(), data, found, LeafLists::kWhole);
  return grpc::Status::OK;
}

std::string TreeSnapshot::xml() const { return configuration_xml(*image_); }

std::shared_ptr<const StateTree> parse_state_tree(std::string_view xml, std::string& error) {
  const std::string_view inner = inner_xml(xml);
  if (inner.data() == nullptr) {
    error = kNoElement;
    return nullptr;
  }
  if (inner.empty()) return std::make_shared<ParsedState>(empty_image());
  ly_err_clean(const_cast<ly_ctx*>(kestrel::context()), nullptr);
  lyd_node* parsed = nullptr;
  const LY_ERR done = lyd_parse_data_mem(kestrel::context(), std::string(inner).c_str(), LYD_XML,
                                         LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed);
  TreePtr tree(parsed);
  if (done != LY_SUCCESS) {
    const Violation problem = stored_violation(kestrel::context(), nullptr);
    error = problem.path.empty() ? problem.rule : problem.path + ": " + problem.rule;
    return nullptr;
  }
  return std::make_shared<ParsedState>(image_of_tree(tree.get()));
}

}  // namespace nexa::store
