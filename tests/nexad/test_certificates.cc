// What the openssl command can do, without its options.
#include "test_certificates.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace nexad_test {
namespace {

std::string new_folder() {
  static std::atomic<int> count{0};
  const std::string folder = testing::TempDir() + "nexad_certificates_" + std::to_string(getpid()) +
                             "_" + std::to_string(count++);
  std::filesystem::create_directory(folder);
  return folder;
}

}  // namespace

TestCertificates::TestCertificates() : folder_(new_folder()) {}

TestCertificates::~TestCertificates() { std::filesystem::remove_all(folder_); }

std::string TestCertificates::read(const std::string& name) const {
  std::ifstream in(path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void TestCertificates::write(const std::string& name, const std::string& text) const {
  std::ofstream(path(name), std::ios::binary | std::ios::trunc) << text;
}

void TestCertificates::copy(const std::string& from, const std::string& to) const {
  write(to, read(from));
}

void TestCertificates::make_authority(const std::string& name) const {
  run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 10 -subj /CN=" +
      name + " -keyout " + name + ".key -out " + name + ".crt");
}

void TestCertificates::make(const std::string& name, const std::string& authority, int days) const {
  write(name + ".ext", "subjectAltName=DNS:localhost,IP:127.0.0.1\n");
  run("openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=" + name +
      " -keyout " + name + ".key -out " + name + ".csr");
  run("openssl x509 -req -in " + name + ".csr -CA " + authority + ".crt -CAkey " + authority +
      ".key -CAcreateserial -days " + std::to_string(days) + " -extfile " + name + ".ext -out " +
      name + ".crt");
}

void TestCertificates::run(const std::string& command) const {
  const std::string line = "cd '" + folder_ + "' && " + command + " >log 2>&1";
  ASSERT_EQ(std::system(line.c_str()), 0) << command << "\n" << read("log");
}

}  // namespace nexad_test
