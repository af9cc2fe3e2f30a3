// A program that brings a copy to a release of a library that it makes up itself, so that a test
// can kill it wherever it writes:
//   local_update FOLDER RELEASE
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "update/commit.h"
#include "update/disk.h"
#include "update/lock.h"
#include "update/made_up_library.h"
#include "update/plan.h"
#include "update/staging.h"
#include "update/state.h"

namespace {

using mtlupdate::Outcome;

Outcome stage(mtlupdate::Staging& staging, const mtlupdate::Entry& entry,
              const std::string& content, mtlupdate::Staging::Found& found) {
  if (Outcome failure = staging.find(entry, {}, found)) return failure;
  if (found.state == mtlupdate::Staging::Found::State::kWhole) return {};
  mtlupdate::StagedFile file;
  if (Outcome failure = staging.open(entry, false, file)) return failure;
  // In pieces, and from where a run that was killed has left off.
  while (file.size() < content.size()) {
    const std::string_view piece = std::string_view(content).substr(file.size(), 700);
    if (Outcome failure = file.append(piece)) return failure;
    file.digest(piece);
  }
  if (Outcome failure = file.finish(found.digest, found.identity)) return failure;
  found.state = mtlupdate::Staging::Found::State::kWhole;
  if (found.digest == entry.sha256) return {};
  return mtlupdate::Failure{mtlupdate::Failure::Kind::kContent, "has another content"};
}

Outcome update(const std::string& name, int release) {
  mtlupdate::Folder folder;
  if (folder.open(name, true)) return mtlupdate::Failure{mtlupdate::Failure::Kind::kDisk, "folder"};
  mtlupdate::Lock lock;
  if (Outcome failure = lock.take(folder)) return failure;
  if (Outcome failure = mtlupdate::keepPlacedFiles(folder)) return failure;
  mtlupdate::CommitTarget target;
  target.stamp = madeUpStamp(release);
  const auto files = madeUpLibrary(release);
  const mtlupdate::Listing listing = listingOf(files);
  mtlupdate::Staging staging(folder, target.stamp);
  mtlupdate::FolderDisk disk(folder);
  mtlupdate::PlanOptions options;
  options.prune = options.pruneMost = true;
  mtlupdate::Plan plan;
  if (Outcome failure = makePlan(listing, mtlupdate::readState(folder), options, {}, disk, plan)) {
    return failure;
  }
  mtlupdate::StagedContents staged(plan.contents);
  for (const auto& fetch : plan.fetch) {
    const std::string& content = files.at(std::string(fetch.entry->path));
    mtlupdate::Staging::Found& found = staged[fetch.content];
    if (Outcome failure = stage(staging, *fetch.entry, content, found)) return failure;
  }
  for (const auto& copy : plan.copy) {
    mtlupdate::Staging::Found& found = staged[copy.content];
    if (Outcome failure = staging.copy(*copy.entry, copy.from, {}, found)) return failure;
  }
  mtlupdate::CommitResult result;
  return commit(folder, plan, staged, target, result);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const Outcome failure = update(arguments[1], std::atoi(arguments[2]));
  if (!failure) return 0;
  std::cerr << failure->about << ": " << failure->text << '\n';
  return failure->kind == mtlupdate::Failure::Kind::kDisk ? 4 : 1;
}
