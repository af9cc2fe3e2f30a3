// Tests a library object in a process that was forked from the one that opened it.
#include <gtest/gtest.h>

#include <string>

#include "mtlhost.h"
#include "support/forked.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace {

TEST(CFork, RefusesTheLibraryObjectOfAnotherProcess) {
  const TempDir directory;
  ScriptedServer server;
  server.serve("/id.txt", "v1");
  const std::string address = server.address();
  const std::string target = directory / "target";
  mtlhost_options options{};
  options.size = sizeof(options);
  options.module_file = MTLLIB_MODULE;
  options.remote_address = address.c_str();
  options.target_directory = target.c_str();
  options.proxy_mode = MTLHOST_PROXY_NONE;
  mtlhost_library* library = nullptr;
  ASSERT_EQ(mtlhost_open(&options, &library, nullptr), MTLHOST_OK);
  ASSERT_EQ(mtlhost_check(library), MTLHOST_UPDATE_AVAILABLE);

  EXPECT_EQ(textFromFork([&] {
              const bool hasFailed = mtlhost_sync(library) == MTLHOST_FAILED;
              const std::string text = mtlhost_error_message(mtlhost_last_error(library));
              mtlhost_cancel(library);
              mtlhost_close(library);
              return hasFailed ? text : "not failed";
            }),
            "the library was opened in another process");
  EXPECT_EQ(mtlhost_check(library), MTLHOST_UPDATE_AVAILABLE);
  mtlhost_close(library);
}

}  // namespace
