// Tests that the kit gives back what it takes, whatever happens.
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "mtlhost/library.h"
#include "support/counting_allocator.h"

namespace mtlhost {
namespace {

void runIn(const std::string& situation) {
  struct : Observer {
    void stage(const Message& message) override { text += message.text(); }
    std::string text;
  } observer;
  Settings settings;
  settings.moduleFile = FAKE_MODULE;
  settings.remoteAddress = situation;
  Errors problem;
  std::optional<Library> library = Library::open(settings, observer, problem);
  ASSERT_TRUE(library);
  library->check();
  library->run();
}

TEST(Memory, NothingIsLeft) {
  for (const char* situation : {"everything", "ok", "long", "silent"}) {
    expectNothingLeft([&] { runIn(situation); });
  }
}

TEST(Memory, NoSettingIsLostWhenItRunsOut) {
  Observer observer;
  Settings settings;
  settings.moduleFile = FAKE_MODULE;
  settings.remoteAddress = "ok";
  failEachAllocation([&](FailingAllocation& failing) {
    Errors problem;
    std::optional<Library> library;
    failing.arm();
    try {
      library = Library::open(settings, observer, problem);
    } catch (const std::bad_alloc&) {
    }
    failing.disarm();
    if (!library) return;
    EXPECT_EQ(library->run().status, Result::Status::kDone);
  });
}

TEST(Memory, NothingIsLeftOfAnException) {
  struct : Observer {
    void warning(const std::string& text) override { throw text; }
  } observer;
  Settings settings;
  settings.moduleFile = FAKE_MODULE;
  settings.remoteAddress = "everything";
  Errors problem;
  expectNothingLeft([&] {
    Library library = Library::open(settings, observer, problem).value();
    EXPECT_THROW(library.run(), std::string);
  });
}

TEST(Memory, NothingIsLeftOfAModuleThatCannotBeUsed) {
  Observer observer;
  Settings settings;
  settings.moduleFile = NO_MODULE;
  expectNothingLeft([&] {
    Errors problem;
    EXPECT_FALSE(Library::open(settings, observer, problem));
  });
}

}  // namespace
}  // namespace mtlhost
