// A copy that tests bring up to date without a network.
#ifndef MTLLIB_TESTS_UPDATE_UPDATE_FIXTURE_H_
#define MTLLIB_TESTS_UPDATE_UPDATE_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "digest_of.h"
#include "support/temp_dir.h"
#include "update/commit.h"
#include "update/disk.h"
#include "update/plan.h"
#include "update/staging.h"
#include "update/state.h"

class UpdateFixture : public testing::Test {
 protected:
  UpdateFixture() {
    EXPECT_FALSE(folder.open(dir / "copy", true));
    target.stamp = "stamp 1";
  }

  /// Adds an entry to the list, and its content to what the server has.
  void list(const std::string& path, const std::string& content) {
    const auto digest = digestOf(content);
    contents[*digest] = content;
    listing.add({path, path, content.size(), digest, mtlrules::DownloadPolicy::kAlways});
  }

  mtlupdate::Plan makePlan() {
    mtlupdate::FolderDisk disk(folder);
    mtlupdate::Plan made;
    options.shouldContinue = [this](std::size_t, std::uint64_t bytes) {
      bytesRead = bytes;
      return true;
    };
    const mtlupdate::Outcome failure =
        mtlupdate::makePlan(listing, mtlupdate::readState(folder), options, {}, disk, made);
    EXPECT_FALSE(failure) << failure->text;
    return made;
  }

  void stage(const mtlupdate::Entry& entry, std::size_t number) {
    const std::string& content = contents.at(*entry.sha256);
    mtlupdate::Staging staging(folder, target.stamp);
    mtlupdate::StagedFile file;
    mtlupdate::Staging::Found whole{
        mtlupdate::Staging::Found::State::kWhole, content.size(), {}, {}};
    ASSERT_FALSE(staging.open(entry, true, file));
    ASSERT_FALSE(file.append(content));
    file.digest(content);
    ASSERT_FALSE(file.finish(whole.digest, whole.identity));
    staged.at(number) = whole;
  }

  void stageAll() {
    staged.assign(plan.contents, {});
    for (const mtlupdate::Plan::Fetch& fetch : plan.fetch)
      stage(*fetch.entry, fetch.content);
    for (const mtlupdate::Plan::Copy& copy : plan.copy)
      stage(*copy.entry, copy.content);
  }

  mtlupdate::Outcome commit() {
    result = {};
    return mtlupdate::commit(folder, plan, staged, target, result);
  }

  /// All of an update that a network is not needed for.
  void update() {
    plan = makePlan();
    stageAll();
    const mtlupdate::Outcome failure = commit();
    ASSERT_FALSE(failure) << failure->about << ": " << failure->text;
    ASSERT_TRUE(result.busy.empty());
    ASSERT_FALSE(mtlupdate::Staging(folder, target.stamp).keepOnly({}));
  }

  /// Another release of the library, with an empty list.
  void begin() {
    plan = {};
    listing = {};
    staged.clear();
  }

  TempDir dir;
  mtlupdate::Folder folder;
  mtlupdate::Listing listing;
  mtlupdate::PlanOptions options;
  std::map<mtlupdate::Digest, std::string> contents;
  mtlupdate::Plan plan;
  mtlupdate::StagedContents staged;
  mtlupdate::CommitTarget target;
  mtlupdate::CommitResult result;
  std::uint64_t bytesRead = 0;
};

#endif  // MTLLIB_TESTS_UPDATE_UPDATE_FIXTURE_H_
