// Tests the table of entry points, the handles, and what each entry does with null.
#include <string>

#include "system_fixture.h"

namespace {

using Handles = SystemTest;

TEST_F(Handles, TheTableHoldsItsVersionAndSevenEntries) {
  EXPECT_EQ(library_.version, 100);
  EXPECT_NE(library_.createDownloader, nullptr);
  EXPECT_NE(library_.destroyDownloader, nullptr);
  EXPECT_NE(library_.runDownload, nullptr);
  EXPECT_NE(library_.checkForUpdate, nullptr);
  EXPECT_NE(library_.createNetworkContext, nullptr);
  EXPECT_NE(library_.destroyNetworkContext, nullptr);
  EXPECT_NE(library_.getKrellNetworkingStatus, nullptr);
}

TEST_F(Handles, NullIsAcceptedEverywhere) {
  library_.destroyDownloader(nullptr);
  library_.destroyNetworkContext(nullptr);
  EXPECT_EQ(library_.runDownload(nullptr), -1);
  EXPECT_EQ(library_.checkForUpdate(nullptr), -1);
  char text[256];
  EXPECT_EQ(library_.getKrellNetworkingStatus(nullptr, sizeof(text), text), -1);
  EXPECT_STREQ(text, "[getKrellNetworkingStatus] -1: Network not initialized");
}

TEST_F(Handles, AHealthyContextHasNoError) {
  NetworkContext* context = library_.createNetworkContext();
  char text[256];
  EXPECT_EQ(library_.getKrellNetworkingStatus(context, sizeof(text), text), 0);
  EXPECT_STREQ(text, "No error");
  char small[4];
  EXPECT_EQ(library_.getKrellNetworkingStatus(context, sizeof(small), small), 0);
  EXPECT_STREQ(small, "No ");
  library_.destroyNetworkContext(context);
}

TEST_F(Handles, AnEmptyRemoteAddressBecomesTheDefault) {
  settings_.remoteAddress = nullptr;
  downloader();
  const std::string address = settings_.remoteAddress.text();
  EXPECT_EQ(address.substr(0, 7), "http://");
  const std::string host = address.substr(7, address.find('/', 7) - 7);
  ASSERT_GT(host.size(), 8U);
  EXPECT_EQ(host.substr(host.size() - 8), ".example");
  EXPECT_EQ(address.substr(7 + host.size()), "/mtllib");
}

TEST_F(Handles, AGivenRemoteAddressIsLeftAlone) {
  settings_.remoteAddress = "https://library.example/x";
  downloader();
  EXPECT_STREQ(settings_.remoteAddress.text(), "https://library.example/x");
}

TEST_F(Handles, ADownloaderThatNeverRanTouchesNoNetwork) {
  downloader();
  EXPECT_EQ(server_.connectionCount(), 0);
}

}  // namespace
