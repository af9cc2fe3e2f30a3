// Controls the fake module from within the test process: what it is to simulate.
#ifndef MTLLIB_TESTS_HOST_FAKE_MODULE_CONTROL_H_
#define MTLLIB_TESTS_HOST_FAKE_MODULE_CONTROL_H_

#include "support/dynamic_library.h"

/// Keeps the plug-in loaded, so that it remembers.
class FakeModuleControl {
 public:
  ~FakeModuleControl() { choose(""); }

  /// What goes wrong before a downloader is there.
  void choose(const char* situation) const {
    reinterpret_cast<void (*)(const char*)>(module_.symbol("chooseFakeSituation"))(situation);
  }

  /// Downloaders and network contexts that have not been given back.
  int handles() const { return reinterpret_cast<int (*)()>(module_.symbol("fakeHandles"))(); }

 private:
  DynamicLibrary module_{FAKE_MODULE};
};

#endif  // MTLLIB_TESTS_HOST_FAKE_MODULE_CONTROL_H_
