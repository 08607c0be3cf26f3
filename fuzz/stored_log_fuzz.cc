// The files of a data folder with wrong bytes in them: the folder is refused in a line that names a
// file, or what it serves is what one of the commits left; and a commit on it works or is refused.
//
// An input is a list of damages, six bytes each: which file, where in it (as a share of its size),
// what to do there.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "store/tree_store.h"
#include "support.h"

namespace {

using nexa::store::ConfigStore;

constexpr int kCommits = 7;
constexpr std::size_t kDamageBytes = 6;
constexpr std::size_t kMostDamages = 16;

nexa::text::Result<std::unique_ptr<ConfigStore>> opened(const std::string& folder) {
  nexa::store::TreeStoreOptions options;
  options.directory = folder;
  options.sync = false;
  options.commits_per_snapshot = 4;
  return nexa::store::open_tree_store(options);
}

grpc::Status commit(ConfigStore& store, const std::string& name) {
  nexa::store::CommitRequest request;
  nexa::store::Edit& edit = request.edits.emplace_back();
  edit.xml = "<config><device xmlns=\"urn:example:device\"><name>" + name + "</name><port><name>" +
             name + "</name></port></device></config>";
  return store.commit(request).status;
}

std::string read_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) fuzz::fail("cannot be written", path);
}

// A folder as a kill leaves it, journal included, and what each of its commits left.
struct Template {
  std::map<std::string, std::string> files;  // by name
  std::set<std::string> states;

  Template() {
    fuzz::mapper();
    const fuzz::TemporaryFolder folder;
    const auto result = opened(folder.path());
    if (!result.ok()) fuzz::fail("no store", result.failure().line());
    const auto& store = result.value();
    states.insert(store->snapshot()->xml());
    for (int i = 0; i < kCommits; ++i) {
      const grpc::Status status = commit(*store, "n" + std::to_string(i));
      if (!status.ok()) fuzz::fail("no commit", status.error_message());
      states.insert(store->snapshot()->xml());
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      if (entry.is_regular_file()) files[entry.path().filename()] = read_file(entry.path());
    }
  }
};

const Template& original() {
  static const Template instance;
  return instance;
}

void damage(std::string& bytes, const std::uint8_t* what) {
  const std::size_t share = static_cast<std::size_t>(what[1]) << 8U | what[2];
  const std::size_t at = bytes.size() * share / 65536;
  switch (what[3] % 6) {
    case 0:
      if (at < bytes.size()) bytes[at] = static_cast<char>(what[4]);
      break;
    case 1:
      if (at < bytes.size()) bytes[at] = static_cast<char>(bytes[at] ^ (1 << (what[4] % 8)));
      break;
    case 2:
      bytes.resize(at);
      break;
    case 3:
      bytes.append(std::size_t{what[4]} * 16, static_cast<char>(what[5]));
      break;
    case 4:
      bytes.erase(at, what[4]);
      break;
    default:
      bytes.insert(at, what[4], static_cast<char>(what[5]));
      break;
  }
}

std::map<std::string, std::string> damaged(const std::uint8_t* data, std::size_t size) {
  std::map<std::string, std::string> files = original().files;
  for (std::size_t i = 0; i + kDamageBytes <= size && i < kMostDamages * kDamageBytes;
       i += kDamageBytes) {
    const auto chosen = std::next(files.begin(), data[i] % static_cast<int>(files.size()));
    damage(chosen->second, data + i);
  }
  return files;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::TemporaryFolder folder;
  for (const auto& [name, bytes] : damaged(data, size)) {
    write_file(folder.path() + "/" + name, bytes);
  }
  const auto result = opened(folder.path());
  if (!result.ok()) {
    const std::string error = result.failure().line();
    if (error.find('\n') != std::string::npos) fuzz::fail("more than a line", error);
    if (error.rfind(folder.path(), 0) != 0) fuzz::fail("names no file", error);
    return 0;
  }
  const auto& store = result.value();
  const std::string served = store->snapshot()->xml();
  if (original().states.count(served) == 0) fuzz::fail("serves what nobody committed", served);
  const grpc::Status status = commit(*store, "later");
  const std::string after = store->snapshot()->xml();
  if (status.ok() == (after == served)) fuzz::fail("the answer is not what is served", after);
  if (!status.ok() && status.error_message().empty()) fuzz::fail("refused without a text");
  return 0;
}
