// Answers are looked up by names and keys alone.
#include "server/support/fake_store.h"

#include <sstream>
#include <utility>

#include "translate/path_string.h"

namespace nexa_test {
namespace {

using nexa::store::DataPart;
using nexa::store::Form;
using nexa::store::Query;
using nexa::store::StateTree;
using nexa::store::ValueSink;

struct FakeState : nexa::store::StateTree {
  FakeLeaves leaves;
};

std::string local_name(const std::string& name) {
  const std::size_t colon = name.find(':');
  return colon == std::string::npos ? name : name.substr(colon + 1);
}

gnmi::Path parsed(const std::string& text) {
  return nexa::translate::parse_path_string(text, nullptr).value_or(gnmi::Path());
}

std::string names_of(const gnmi::Path& path) {
  std::string text;
  for (const gnmi::PathElem& element : path.elem()) text += "/" + local_name(element.name());
  return text;
}

bool keys_match(const gnmi::PathElem& wanted, const gnmi::PathElem& element) {
  for (const auto& [name, value] : wanted.key()) {
    const auto found = element.key().find(local_name(name));
    if (found == element.key().end()) return false;
    if (value != "*" && value != found->second) return false;
  }
  return true;
}

// The number of `leaf`'s elements that `wanted` names, -1 for no match. `concrete` becomes the path
// of the named node, names as wanted.
int match(const gnmi::Path& wanted, int from, const gnmi::Path& leaf, int at,
          gnmi::Path& concrete) {
  if (from == wanted.elem_size()) return at;
  const gnmi::PathElem& element = wanted.elem(from);
  if (element.name() == "...") {
    for (int next = at; next <= leaf.elem_size(); ++next) {
      gnmi::Path tried = concrete;
      for (int skipped = at; skipped < next; ++skipped) *tried.add_elem() = leaf.elem(skipped);
      const int end = match(wanted, from + 1, leaf, next, tried);
      if (end < 0) continue;
      concrete = tried;
      return end;
    }
    return -1;
  }
  if (at == leaf.elem_size()) return -1;
  const bool any = element.name() == "*";
  if (!any && local_name(element.name()) != leaf.elem(at).name()) return -1;
  if (!keys_match(element, leaf.elem(at))) return -1;
  gnmi::PathElem& added = *concrete.add_elem();
  added = leaf.elem(at);
  if (!any) added.set_name(element.name());
  return match(wanted, from + 1, leaf, at + 1, concrete);
}

class FakeSnapshot : public nexa::store::Snapshot {
 public:
  FakeSnapshot(std::shared_ptr<const FakeLeaves> leaves, std::uint64_t number,
               std::function<void()> on_read)
      : leaves_(std::move(leaves)), number_(number), on_read_(std::move(on_read)) {}

  grpc::Status read(const nexa::store::Query& query, const nexa::store::StateTree* state,
                    const nexa::store::ValueSink& sink) const override;
  std::string xml() const override { return "<config/>"; }
  std::uint64_t number() const override { return number_; }

 private:
  std::shared_ptr<const FakeLeaves> leaves_;
  std::uint64_t number_;
  std::function<void()> on_read_;
};

bool is_wanted(const FakeLeaf& leaf, nexa::store::DataPart part) {
  if (part == nexa::store::DataPart::kAll) return true;
  return leaf.state == (part == nexa::store::DataPart::kState);
}

grpc::Status FakeSnapshot::read(const nexa::store::Query& query,
                                const nexa::store::StateTree* state,
                                const nexa::store::ValueSink& sink) const {
  if (on_read_) on_read_();
  FakeLeaves all = *leaves_;
  if (state != nullptr) {
    for (const auto& [name, leaf] : dynamic_cast<const FakeState&>(*state).leaves) all[name] = leaf;
  }
  std::vector<std::pair<gnmi::Path, std::string>> values;
  std::map<std::string, std::size_t> places;
  for (const auto& [name, leaf] : all) {
    gnmi::Path concrete;
    const int end = match(query.target.path, 0, leaf.path, 0, concrete);
    if (end < 0 || !is_wanted(leaf, query.part)) continue;
    if (query.form == nexa::store::Form::kLeaves || end == leaf.path.elem_size()) {
      for (int at = end; at < leaf.path.elem_size(); ++at)
        *concrete.add_elem() = leaf.path.elem(at);
      values.emplace_back(concrete, leaf.json);
      continue;
    }
    gnmi::Path rest = leaf.path;
    rest.mutable_elem()->DeleteSubrange(0, end);
    const std::string member =
        "\"" + nexa::translate::format_path_string(rest).substr(1) + "\":" + leaf.json;
    const auto [place, fresh] =
        places.emplace(nexa::translate::format_path_string(concrete), values.size());
    if (fresh) values.emplace_back(concrete, "{}");
    std::string& object = values[place->second].second;
    object.insert(object.size() - 1, (fresh ? "" : ",") + member);
  }
  for (auto& [path, json] : values) {
    gnmi::TypedValue value;
    if (query.encoding == gnmi::JSON) {
      value.set_json_val(std::move(json));
    } else {
      value.set_json_ietf_val(std::move(json));
    }
    sink(path, value);
  }
  return grpc::Status::OK;
}

}  // namespace

FakeStore::FakeStore() : leaves_(std::make_shared<FakeLeaves>()) {}

void FakeStore::put(const std::string& path, const std::string& json, bool state) {
  const FakeLeaf leaf{parsed(path), json, state};
  know(names_of(leaf.path));
  const std::lock_guard<std::mutex> lock(mutex_);
  auto changed = std::make_shared<FakeLeaves>(*leaves_);
  (*changed)[path] = leaf;
  leaves_ = std::move(changed);
}

void FakeStore::remove(const std::string& path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  auto changed = std::make_shared<FakeLeaves>(*leaves_);
  changed->erase(path);
  leaves_ = std::move(changed);
}

void FakeStore::know(const std::string& path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
    known_.insert(path.substr(0, end));
  known_.insert(path);
}

std::vector<nexa::store::CommitRequest> FakeStore::commits() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return commits_;
}

int FakeStore::parsed_states() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return parsed_states_;
}

int FakeStore::snapshots_taken() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return snapshots_taken_;
}

nexa::store::CommitResult FakeStore::commit(const nexa::store::CommitRequest& request) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    commits_.push_back(request);
  }
  if (request.approve) {
    grpc::Status verdict = request.approve(nexa::store::Change());
    if (!verdict.ok()) return {verdict, 0, 0, -1, "", ""};
  }
  nexa::store::CommitResult result;
  if (on_commit) result = on_commit(request);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (result.status.ok()) result.number = ++number_;
  return result;
}

std::shared_ptr<const nexa::store::Snapshot> FakeStore::snapshot() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++snapshots_taken_;
  return std::make_shared<FakeSnapshot>(leaves_, number_, on_read);
}

nexa::text::Result<std::shared_ptr<const nexa::store::StateTree>> FakeStore::parse_state(
    std::string_view xml) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++parsed_states_;
  if (xml.find("broken") != std::string_view::npos) {
    return nexa::text::Failure{grpc::StatusCode::INVALID_ARGUMENT, "line 1", "broken"};
  }
  const std::string_view open = "<state>";
  const std::string_view close = "</state>";
  std::istringstream lines(
      std::string(xml.substr(open.size(), xml.size() - open.size() - close.size())));
  auto state = std::make_shared<FakeState>();
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.rfind('=');
    if (equals == std::string::npos) continue;
    const std::string path = line.substr(0, equals);
    state->leaves[path] = {parsed(path), line.substr(equals + 1), true};
  }
  return state;
}

std::shared_ptr<const nexa::store::StateTree> FakeStore::join_states(
    std::span<const std::shared_ptr<const nexa::store::StateTree>> trees) const {
  auto joined = std::make_shared<FakeState>();
  for (const auto& tree : trees) {
    for (const auto& [path, leaf] : static_cast<const FakeState&>(*tree).leaves) {
      joined->leaves[path] = leaf;
    }
  }
  return joined;
}

grpc::Status FakeStore::history(std::size_t /*limit*/,
                                std::vector<nexa::store::CommitRecord>& out) const {
  out.clear();
  return grpc::Status::OK;
}

nexa::store::CommitResult FakeStore::rollback(
    std::uint64_t /*number*/, const std::string& /*author*/,
    const std::function<grpc::Status(const nexa::store::Change&)>& /*approve*/) {
  return {};
}

}  // namespace nexa_test
