// Which certificates and keys are refused before they are served, and with which words.
#include "tls_material.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "support/results.h"
#include "test_certificates.h"
#include "tls.h"

namespace {

using namespace nexad;
using nexa_test::value_of;

class TlsFilesTest : public testing::Test {
 protected:
  TlsFilesTest() {
    certificates_.make_authority("ca");
    certificates_.make("server", "ca");
    certificates_.copy("server.crt", "cert");
    certificates_.copy("server.key", "key");
  }

  TlsFiles files(const std::string& authorities = {}) const {
    return {certificates_.path("cert"), certificates_.path("key"),
            authorities.empty() ? "" : certificates_.path(authorities)};
  }

  std::string fault(const std::string& authorities = {}) const {
    const auto store = TlsStore::open(files(authorities));
    EXPECT_FALSE(store.ok());
    return nexa_test::line_of(store);
  }

  nexad_test::TestCertificates certificates_;
};

TEST_F(TlsFilesTest, TakesAGoodPair) {
  const auto store = value_of(TlsStore::open(files("ca.crt")));
  EXPECT_TRUE(store->asks_for_certificates());
  EXPECT_NE(store->current().first->expires.find("GMT"), std::string::npos);
}

TEST_F(TlsFilesTest, TakesAChain) {
  certificates_.write("cert", certificates_.read("server.crt") + certificates_.read("ca.crt"));
  EXPECT_EQ(nexa_test::line_of(TlsStore::open(files())), "");
}

TEST_F(TlsFilesTest, RefusesFilesThatAreMissingEmptyOrNoFiles) {
  certificates_.write("cert", "");
  EXPECT_EQ(fault(), certificates_.path("cert") + ": it is empty");
  std::filesystem::remove(certificates_.path("cert"));
  EXPECT_EQ(fault(), certificates_.path("cert") + ": cannot be read: No such file or directory");
  ASSERT_EQ(mkfifo(certificates_.path("cert").c_str(), 0600), 0);
  EXPECT_EQ(fault(), certificates_.path("cert") + ": cannot be read: it is not a file");
}

TEST_F(TlsFilesTest, RefusesWhatIsNoPem) {
  certificates_.write("cert", "hello\n");
  EXPECT_EQ(fault(), certificates_.path("cert") + ": there is no certificate in it");
  certificates_.copy("server.key", "cert");
  EXPECT_EQ(fault(), certificates_.path("cert") + ": there is no certificate in it");
  certificates_.copy("server.crt", "cert");
  certificates_.copy("server.crt", "key");
  EXPECT_EQ(fault(), certificates_.path("key") + ": there is no private key in it");
  certificates_.write("key", std::string(2U << 20U, 'x'));
  EXPECT_EQ(fault(), certificates_.path("key") + ": it is too large for certificates");
}

TEST_F(TlsFilesTest, RefusesAFileThatIsStillBeingWritten) {
  const std::string whole = certificates_.read("server.crt") + certificates_.read("ca.crt");
  certificates_.write("cert", whole.substr(0, whole.size() - 60));
  const std::string text = fault();
  EXPECT_EQ(text.substr(0, certificates_.path("cert").size() + 2),
            certificates_.path("cert") + ": ");
}

TEST_F(TlsFilesTest, RefusesTheKeyOfAnotherCertificate) {
  certificates_.copy("ca.key", "key");
  EXPECT_EQ(fault(), certificates_.path("key") + ": it is not the key of the certificate in " +
                         certificates_.path("cert"));
}

TEST_F(TlsFilesTest, RefusesAnEncryptedKeyWithoutAsking) {
  certificates_.run("openssl pkey -in server.key -aes256 -passout pass:secret -out key");
  EXPECT_EQ(fault(),
            certificates_.path("key") + ": it is encrypted; nobody is there to type its password");
}

TEST_F(TlsFilesTest, RefusesACertificateThatExpired) {
  certificates_.make("old", "ca", -1);
  certificates_.copy("old.crt", "cert");
  certificates_.copy("old.key", "key");
  EXPECT_EQ(fault().substr(0, certificates_.path("cert").size() + 16),
            certificates_.path("cert") + ": it expired on ");
}

TEST_F(TlsFilesTest, RefusesAuthoritiesThatCannotBeRead) {
  certificates_.write("none", "# nothing\n");
  EXPECT_EQ(fault("none"), certificates_.path("none") + ": there is no certificate in it");
  const std::string whole = certificates_.read("ca.crt");
  certificates_.write("half", whole + whole.substr(0, whole.size() / 2));
  EXPECT_EQ(fault("half").substr(0, certificates_.path("half").size() + 2),
            certificates_.path("half") + ": ");
}

TEST_F(TlsFilesTest, ReloadKeepsWhatServesWhileThePairIsHalfRenewed) {
  const auto store = value_of(TlsStore::open(files()));
  const auto before = store->current();
  EXPECT_EQ(value_of(store->reload(false)), TlsStore::Outcome::kUnchanged);
  certificates_.make("next", "ca");
  certificates_.copy("next.crt", "cert");
  EXPECT_FALSE(store->reload(false).ok());
  EXPECT_EQ(value_of(store->reload(false)), TlsStore::Outcome::kUnchanged);
  EXPECT_FALSE(store->reload(true).ok());
  EXPECT_EQ(store->current(), before);
  certificates_.write("key", "");
  EXPECT_FALSE(store->reload(false).ok());
  EXPECT_EQ(value_of(store->reload(false)), TlsStore::Outcome::kUnchanged);
  EXPECT_EQ(store->current(), before);
  certificates_.copy("next.key", "key");
  EXPECT_EQ(value_of(store->reload(false)), TlsStore::Outcome::kRenewed);
  EXPECT_EQ(store->current().second, before.second + 1);
  EXPECT_EQ(store->current().first->certificate, certificates_.read("next.crt"));
}

}  // namespace
