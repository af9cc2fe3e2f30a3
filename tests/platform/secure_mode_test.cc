// Tests programs that run with the rights of a user other than the one who started them: whoever
// that was has no say in what they trust.
#include <gtest/gtest.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "platform/win32.h"
#include "qutils/system_proxy.h"
#include "support/environment_variable.h"

namespace {

/// Runs the test again as a program whose two identities differ.
void runInSecureMode(const char* test) {
  constexpr uid_t kNobody = 65534;
  const std::string filter = std::string("--gtest_filter=") + test;
  const pid_t child = fork();
  if (child == 0) {
    if (setresuid(kNobody, 0, 0) != 0) _exit(2);
    execl("/proc/self/exe", "platform_tests", filter.c_str(), nullptr);
    _exit(3);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(SecureMode, ReadsNoVariablesOfTheEnvironment) {
  if (getauxval(AT_SECURE) == 0) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root, who has two identities to give";
    const EnvironmentVariable proxy("http_proxy", "proxy.lan:3128");
    const EnvironmentVariable bundle("CURL_CA_BUNDLE", "bundle.pem");
    runInSecureMode("SecureMode.ReadsNoVariablesOfTheEnvironment");
    return;
  }
  ASSERT_STREQ(std::getenv("http_proxy"), "proxy.lan:3128");
  QUtils::SystemProxySettings settings;
  EXPECT_FALSE(QUtils::readSystemProxySettings(settings, true));
  EXPECT_FALSE(settings.enabled);

  constexpr LPCWSTR kReference = u"%CURL_CA_BUNDLE%";
  std::array<WCHAR, 64> text{};
  EXPECT_EQ(ExpandEnvironmentStringsW(kReference, text.data(), text.size()), 17U);
  EXPECT_EQ(std::u16string(text.data()), kReference);
}

}  // namespace
