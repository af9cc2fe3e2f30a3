// A local copy, and what removeDamaged() makes of it.
#ifndef MTLLIB_TESTS_TOOLS_MTLSYNC_REPAIR_FIXTURE_H_
#define MTLLIB_TESTS_TOOLS_MTLSYNC_REPAIR_FIXTURE_H_

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "mtlsync/repair.h"
#include "support/temp_dir.h"

class RemoveDamagedTest : public testing::Test {
 protected:
  RemoveDamagedTest() { options_.directory = dir_ / "copy"; }

  std::string copy(const std::string& name) const { return dir_ / ("copy/" + name); }

  /// Whether the run may follow.
  bool remove(const std::vector<library_list::ListedFile>& files) {
    return mtlsync::removeDamaged(options_, files, observer_, problem_);
  }

  TempDir dir_;
  mtlsync::Options options_;
  std::ostringstream printed_;
  mtlsync::Console messages_{printed_, {}};
  mtlsync::SyncObserver observer_{
      {messages_, nullptr, nullptr}, mtlsync::Verbosity::kNormal, {}, [] { return false; }};
  mtlsync::ErrorEntries problem_;
};

#endif  // MTLLIB_TESTS_TOOLS_MTLSYNC_REPAIR_FIXTURE_H_
