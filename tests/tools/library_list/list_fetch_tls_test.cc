// Which TLS servers are trusted.
#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "library_list/list_fetch.h"
#include "reliability/tls_server.h"
#include "support/temp_dir.h"

namespace library_list {
namespace {

class ListFetchTlsTest : public testing::Test {
 protected:
  ListFetchTlsTest() { writeCertificate(authority_, dir_ / "authority.pem"); }

  /// The outcome of asking `server`, as a host of that name, for its list.
  FetchResult::Outcome fetchFrom(const TlsServer& server, const std::string& host,
                                 const std::string& trusted,
                                 const std::string& trustedFolder = "") {
    FetchRequest request;
    request.url = "https://" + host + ":" + std::to_string(server.port()) + "/filelist.json";
    request.proxy = "";
    request.trust = {trusted, trustedFolder};
    return fetchList(request).outcome;
  }

  TempDir dir_;
  Identity authority_ = makeAuthority("Authority of the test");
  Identity identity_ = makeServerIdentity(&authority_, "DNS:localhost", -1, 1);
};

TEST_F(ListFetchTlsTest, TrustsTheGivenAuthority) {
  const TlsServer server(identity_, TLS1_2_VERSION);
  EXPECT_EQ(fetchFrom(server, "localhost", dir_ / "authority.pem"), FetchResult::Outcome::kFetched);
}

TEST_F(ListFetchTlsTest, TrustsTheAuthoritiesInTheGivenFolder) {
  std::ostringstream name;
  name << std::hex << std::setw(8) << std::setfill('0')
       << X509_subject_name_hash(authority_.certificate.get()) << ".0";
  std::filesystem::create_directory(dir_.path() / "authorities");
  writeCertificate(authority_, dir_ / ("authorities/" + name.str()));
  const TlsServer server(identity_, TLS1_2_VERSION);
  EXPECT_EQ(fetchFrom(server, "localhost", "", dir_ / "authorities"),
            FetchResult::Outcome::kFetched);
}

TEST_F(ListFetchTlsTest, RefusesUnknownAuthoritiesOtherNamesAndOldVersions) {
  const Identity other = makeAuthority("Another authority");
  writeCertificate(other, dir_ / "other.pem");
  const TlsServer server(identity_, TLS1_3_VERSION);
  EXPECT_EQ(fetchFrom(server, "localhost", ""), FetchResult::Outcome::kFailed);
  EXPECT_EQ(fetchFrom(server, "localhost", dir_ / "other.pem"), FetchResult::Outcome::kFailed);
  EXPECT_EQ(fetchFrom(server, "127.0.0.1", dir_ / "authority.pem"), FetchResult::Outcome::kFailed);
  EXPECT_EQ(server.requestCount(), 0);
  const TlsServer old(identity_, TLS1_1_VERSION);
  EXPECT_EQ(fetchFrom(old, "localhost", dir_ / "authority.pem"), FetchResult::Outcome::kFailed);
}

}  // namespace
}  // namespace library_list
