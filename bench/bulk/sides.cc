// The store's side calls what the server's Set calls, in its order.
#include "bulk/sides.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "bulk/measure.h"
#include "kestrel/loader.h"
#include "request/set_request.h"
#include "translate/path_string.h"

namespace nexa_bench {
namespace {

namespace fs = std::filesystem;

constexpr char kRoot[] = "/";
constexpr std::uint32_t kConfigOnly = LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE;

gnmi::Path path_of(const std::string& text) {
  nexa::translate::PathStringError error;
  const auto path = nexa::translate::parse_path_string(text, &error);
  if (!path) give_up(text + ": " + error.text());
  return *path;
}

Tree parse(const std::string& json, std::uint32_t parse_options, std::uint32_t validate_options) {
  lyd_node* tree = nullptr;
  const ly_ctx* context = kestrel::context();
  if (lyd_parse_data_mem(context, json.c_str(), LYD_JSON, parse_options, validate_options, &tree) !=
      LY_SUCCESS) {
    give_up(std::string("libyang: ") + ly_errmsg(context));
  }
  return Tree(tree);
}

// The members of a JSON object as it is written here: names and texts of their values.
std::vector<std::pair<std::string, std::string>> members_of(const std::string& json) {
  std::vector<std::pair<std::string, std::string>> members;
  int depth = 0;
  std::size_t name = 0;
  std::size_t value = 0;
  for (std::size_t at = 0; at < json.size(); ++at) {
    const char c = json[at];
    if (c == '"') {
      const std::size_t start = at + 1;
      at = json.find('"', start);
      if (depth == 1 && json[at + 1] == ':') {
        members.emplace_back(json.substr(start, at - start), std::string());
        name = members.size();
        value = at + 2;
      }
      continue;
    }
    if (c == '{' || c == '[') ++depth;
    if (c == '}' || c == ']') --depth;
    const bool ends = (c == ',' && depth == 1) || (c == '}' && depth == 0);
    if (ends && name > 0) members[name - 1].second = json.substr(value, at - value);
  }
  return members;
}

}  // namespace

Folder::Folder() : owner_(getpid()) {
  const fs::path build = fs::read_symlink("/proc/self/exe").parent_path().parent_path();
  path_ = (build / "store-bench-XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) give_up("no folder " + path_);
}

Folder::~Folder() {
  std::error_code ignored;
  if (owner_ == getpid()) fs::remove_all(path_, ignored);
}

void load_models(const std::string& folder, const std::vector<std::string>& modules) {
  kestrel::LoadOptions options;
  options.search_dirs = {folder};
  options.modules = modules;
  if (const auto error = kestrel::load(options)) give_up(error->text());
}

std::string set_request(const std::string& json, const std::string& path, Kind kind) {
  gnmi::SetRequest request;
  if (kind == Kind::kUpdate && path == kRoot) {
    for (const auto& [name, value] : members_of(json)) {
      gnmi::Update& update = *request.add_update();
      *update.mutable_path() = path_of("/" + name);
      update.mutable_val()->set_json_ietf_val(value);
    }
    return request.SerializeAsString();
  }
  gnmi::Update& update = kind == Kind::kUpdate ? *request.add_update() : *request.add_replace();
  *update.mutable_path() = path_of(path);
  update.mutable_val()->set_json_ietf_val(json);
  return request.SerializeAsString();
}

StoreSide::StoreSide(const std::string& directory, const Options& options)
    : mapper_(std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>()) {
  static_cast<void>(mapper_->populate());
  schema_ = std::make_unique<nexa::model::Schema>();
  resolver_ = std::make_unique<nexa::model::Resolver>(*schema_);
  translator_ = std::make_unique<nexa::translate::Translator>(*mapper_, *schema_);
  nexa::store::TreeStoreOptions wanted;
  wanted.directory = directory;
  wanted.sync = options.sync;
  wanted.commits_per_snapshot = options.commits_per_snapshot;
  auto store = nexa::store::open_tree_store(wanted);
  if (!store.ok()) give_up(store.failure().line());
  store_ = std::move(store).value();
}

std::vector<nexa::store::Edit> StoreSide::prepare(const std::string& bytes) {
  gnmi::SetRequest request;
  if (!request.ParseFromString(bytes)) give_up("the request is no SetRequest");
  std::vector<nexa::store::Edit> edits;
  const nexa::request::SetParts parts{*resolver_, *translator_};
  const grpc::Status status = nexa::request::prepare_set(parts, request, edits);
  if (!status.ok()) give_up("Set: " + status.error_message());
  return edits;
}

void StoreSide::set(const std::string& bytes) {
  gnmi::SetRequest request;
  if (!request.ParseFromString(bytes)) give_up("the request is no SetRequest");
  nexa::store::CommitRequest commit;
  const nexa::request::SetParts parts{*resolver_, *translator_};
  const grpc::Status status = nexa::request::prepare_set(parts, request, commit.edits);
  if (!status.ok()) give_up("Set: " + status.error_message());
  commit.author = "bench";
  commit.comment = "Set of 1 operations";
  const nexa::store::CommitResult result = store_->commit(commit);
  if (!result.status.ok()) {
    give_up("commit: " + result.status.error_message() + " " + result.rule + " " + result.path);
  }
  newest_ = result.number;
  gnmi::SetResponse response;
  nexa::request::answer_set(request, response);
}

void StoreSide::change(const std::string& request) {
  const std::uint64_t before = newest_;
  set(request);
  if (newest_ == before) give_up("the Set changed nothing");
}

std::size_t StoreSide::read_all() const {
  std::size_t bytes = 0;
  const grpc::Status status = store_->snapshot()->read(
      {}, nullptr,
      [&](gnmi::Path&, gnmi::TypedValue& value) { bytes += value.json_ietf_val().size(); });
  if (!status.ok()) give_up("Get: " + status.error_message());
  return bytes;
}

bool StoreSide::serves(const std::string& path) const {
  nexa::store::Query query;
  auto target = resolver_->resolve(gnmi::Path(), path_of(path), nexa::model::Purpose::kRead);
  if (!target.ok()) return false;
  query.target = std::move(target.value());
  bool found = false;
  const grpc::Status status = store_->snapshot()->read(
      query, nullptr, [&](gnmi::Path&, gnmi::TypedValue&) { found = true; });
  return status.ok() && found;
}

Tree parse_and_validate(const std::string& json) {
  return parse(json, LYD_PARSE_STRICT | LYD_PARSE_NO_STATE, kConfigOnly);
}

Tree parse_only(const std::string& json) {
  return parse(json, LYD_PARSE_STRICT | LYD_PARSE_ONLY, 0);
}

void merge_and_print(Tree& tree, const std::string& json) {
  Tree given = parse_only(json);
  lyd_node* merged = tree.release();
  const LY_ERR added = lyd_merge_siblings(&merged, given.release(), LYD_MERGE_DESTRUCT);
  tree.reset(merged);
  if (added != LY_SUCCESS) give_up("libyang does not merge");
  merged = tree.release();
  const LY_ERR valid = lyd_validate_all(&merged, kestrel::context(), kConfigOnly, nullptr);
  tree.reset(merged);
  if (valid != LY_SUCCESS) give_up(std::string("libyang: ") + ly_errmsg(kestrel::context()));
  char* text = nullptr;
  lyd_print_mem(&text, tree.get(), LYD_XML, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK);
  std::free(text);
}

}  // namespace nexa_bench
