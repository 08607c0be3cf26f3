// Sets as messages, straight to the store without a network: what a commit was answered with is
// what libyang says of the whole configuration, a refusal leaves it as it was, and now and then the
// log on the disk is read from nothing.
#include <libyang/libyang.h>

#include <memory>
#include <string>

#include "gnmi.pb.h"
#include "kestrel/loader.h"
#include "request/set_request.h"
#include "requests.h"
#include "store/tree_store.h"
#include "store/verification.h"
#include "store/verification_report.h"
#include "support.h"

namespace {

using nexa::store::ConfigStore;
using nexa::store::VerificationReport;

constexpr int kCommitsBetweenVerifications = 64;

std::unique_ptr<ConfigStore> opened(const std::string& folder) {
  nexa::store::TreeStoreOptions options;
  options.directory = folder;
  options.sync = false;
  options.history_limit = 10;
  options.commits_per_snapshot = 10;
  options.max_nodes = 5000;
  auto store = nexa::store::open_tree_store(options);
  if (!store.ok()) fuzz::fail("the store does not open", store.failure().line());
  return std::move(store).value();
}

class Target {
 public:
  explicit Target(const std::string& folder)
      : folder_(folder),
        translator_(fuzz::mapper(NEXA_FUZZ_MODELS_DIR), schema_),
        resolver_(schema_),
        store_(opened(folder)) {}

  void set(const gnmi::SetRequest& request) {
    const nexa::request::SetParts parts{resolver_, translator_};
    nexa::store::CommitRequest commit;
    const grpc::Status prepared = prepare_set(parts, request, commit.edits);
    if (!prepared.ok()) return check_refusal(prepared);
    const auto before = store_->snapshot();
    const nexa::store::CommitResult result = store_->commit(commit);
    const auto after = store_->snapshot();
    if (!result.status.ok()) {
      check_refusal(result.status);
      if (after->xml() != before->xml()) fuzz::fail("a refusal changed something", after->xml());
      return;
    }
    check_whole(after->xml());
    if (++commits_ % kCommitsBetweenVerifications == 0) verify();
  }

 private:
  static void check_refusal(const grpc::Status& status) {
    if (status.error_message().empty()) fuzz::fail("a refusal without a text");
    switch (status.error_code()) {
      case grpc::StatusCode::INVALID_ARGUMENT:
      case grpc::StatusCode::NOT_FOUND:
      case grpc::StatusCode::FAILED_PRECONDITION:
      case grpc::StatusCode::RESOURCE_EXHAUSTED:
      case grpc::StatusCode::UNIMPLEMENTED:
        return;
      default:
        fuzz::fail("not a client's fault", status.error_message());
    }
  }

  // The marks of JSON types in the document are attributes that libyang does not know.
  static void check_whole(const std::string& xml) {
    const std::size_t begin = xml.find('>') + 1;
    const std::size_t end = xml.rfind("</");
    const std::string inner = end < begin ? std::string() : xml.substr(begin, end - begin);
    lyd_node* tree = nullptr;
    const LY_ERR verdict = lyd_parse_data_mem(kestrel::context(), inner.c_str(), LYD_XML,
                                              LYD_PARSE_NO_STATE, LYD_VALIDATE_PRESENT, &tree);
    lyd_free_all(tree);
    if (verdict != LY_SUCCESS) fuzz::fail(ly_errmsg(kestrel::context()), xml);
  }

  // From nothing, and what a start makes of it.
  void verify() {
    const std::string served = store_->snapshot()->xml();
    store_.reset();
    const VerificationReport report = nexa::store::verify_directory(folder_);
    if (report.kind != VerificationReport::Kind::kValid) {
      fuzz::fail("the folder is not valid", report.text);
    }
    store_ = opened(folder_);
    if (store_->snapshot()->xml() != served) fuzz::fail("a start changed something", served);
  }

  const std::string folder_;
  const nexa::model::Schema& schema_ = loaded_schema();
  nexa::translate::Translator translator_;
  nexa::model::Resolver resolver_;
  std::unique_ptr<ConfigStore> store_;
  int commits_ = 0;

  static const nexa::model::Schema& loaded_schema() {
    fuzz::mapper(NEXA_FUZZ_MODELS_DIR);
    static const nexa::model::Schema schema;
    return schema;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string name;
  const auto request = fuzz::parse_request(fuzz::text_of(data, size), name);
  const auto* const set = dynamic_cast<const gnmi::SetRequest*>(request.get());
  if (set == nullptr) return 0;
  static const fuzz::TemporaryFolder folder;
  // Not ended, for the reason that request_fuzz has.
  static Target& target = *std::make_unique<Target>(folder.path()).release();
  target.set(*set);
  return 0;
}
