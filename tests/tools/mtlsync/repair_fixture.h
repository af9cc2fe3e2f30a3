// A local copy, and what removeDamaged() makes of it.
#ifndef MTLLIB_TESTS_TOOLS_MTLSYNC_REPAIR_FIXTURE_H_
#define MTLLIB_TESTS_TOOLS_MTLSYNC_REPAIR_FIXTURE_H_

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "mtlsync/repair.h"
#include "support/temp_dir.h"

/// The SHA-256 of "abc".
constexpr const char* kDigestOfAbc =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

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
  bool stop_ = false;
  std::ostringstream printed_;
  common::Console messages_{printed_, {}};
  mtlsync::SyncObserver observer_{
      {messages_, messages_, nullptr, nullptr}, mtlsync::Verbosity::kNormal, {}, [this] {
        return stop_;
      }};
  mtlsync::ErrorEntries problem_;
};

#endif  // MTLLIB_TESTS_TOOLS_MTLSYNC_REPAIR_FIXTURE_H_
