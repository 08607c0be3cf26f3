// Certificates made for one test by the openssl command, in a folder that goes with it.
#ifndef TESTS_NEXAD_TEST_CERTIFICATES_H_
#define TESTS_NEXAD_TEST_CERTIFICATES_H_

#include <string>

namespace nexad_test {

class TestCertificates {
 public:
  TestCertificates();
  ~TestCertificates();
  TestCertificates(const TestCertificates&) = delete;
  TestCertificates& operator=(const TestCertificates&) = delete;

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  std::string read(const std::string& name) const;
  void write(const std::string& name, const std::string& text) const;
  void copy(const std::string& from, const std::string& to) const;

  // NAME.crt and NAME.key: an authority of its own.
  void make_authority(const std::string& name) const;
  // NAME.crt and NAME.key for localhost and 127.0.0.1, its common name NAME, signed by the
  // authority. `days`: how long it is valid; negative for one that has expired.
  void make(const std::string& name, const std::string& authority, int days = 10) const;

  // Runs the command line in the folder; fails the test when it fails.
  void run(const std::string& command) const;

 private:
  const std::string folder_;
};

}  // namespace nexad_test

#endif  // TESTS_NEXAD_TEST_CERTIFICATES_H_
