// Digests files. The system is asked about every file, but only those that have changed are read.
#include "mtlpublish/digest_files.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <system_error>
#include <utility>

#include "mtlpublish/file_name.h"
#include "mtlpublish/parallel_work.h"
#include "mtlpublish/whole_file.h"
#include "rules/printable.h"
#include "update/file_digest.h"

namespace mtlpublish {

namespace {

/// A file that has to be read, and what came of it.
struct Reading {
  std::size_t number;
  mtlupdate::FileDigest digest{};
  std::error_code error{};
};

std::string unreadable(const LibraryFile& file, const std::error_code& error) {
  return mtlrules::printable(file.path) + ": cannot be read: " + errorMessage(error);
}

std::string changedMeanwhile(const LibraryFile& file) {
  return mtlrules::printable(file.path) +
         ": changed during the build; build again once it is complete";
}

/// Calls `work` with every number below `count`, on all cores. Of work that takes no longer than
/// handing it over, a good many at a time.
void doShortWork(std::size_t count, const std::function<void(std::size_t)>& work) {
  constexpr std::size_t kAtOnce = 256;
  workInParallel((count + kAtOnce - 1) / kAtOnce,
                 [&](std::size_t part) {
                   const std::size_t end = std::min(count, (part + 1) * kAtOnce);
                   for (std::size_t number = part * kAtOnce; number < end; ++number)
                     work(number);
                 },
                 [] {});
}

void readAll(const std::vector<DigestedFile>& files, std::vector<Reading>& readings,
             const OnProgress& onProgress) {
  std::uint64_t bytes = 0;
  for (const Reading& reading : readings)
    bytes += files[reading.number].state.size;
  WorkCounter counter(readings.size(), bytes);
  workInParallel(
      readings.size(),
      [&](std::size_t number) {
        Reading& reading = readings[number];
        const LibraryFile& file = files[reading.number].file;
        counter.begin(file.path);
        reading.error = mtlupdate::digestFile(file.location, reading.digest, counter.bytesOfFile());
        counter.endFile();
      },
      [&] {
        if (onProgress) onProgress(counter.progress());
      });
}

}  // namespace

DigestedFiles digestFiles(std::vector<LibraryFile> files, const DigestCache& known,
                          std::chrono::system_clock::time_point start,
                          const OnProgress& onProgress) {
  std::vector<FileState> states(files.size());
  std::vector<std::error_code> errors(files.size());
  std::vector<std::string> digests(files.size());
  doShortWork(files.size(), [&](std::size_t number) {
    const LibraryFile& file = files[number];
    errors[number] = readFileState(file.location, states[number]);
    if (!errors[number]) digests[number] = known.find(file.path, states[number]);
  });
  DigestedFiles result;
  std::vector<Reading> readings;
  for (std::size_t number = 0; number < files.size(); ++number) {
    if (errors[number]) {
      result.problems.push_back(unreadable(files[number], errors[number]));
      continue;
    }
    if (digests[number].empty()) readings.push_back({result.files.size()});
    result.files.push_back({std::move(files[number]), states[number], std::move(digests[number])});
  }
  if (!readings.empty()) readAll(result.files, readings, onProgress);
  for (const Reading& reading : readings) {
    DigestedFile& digested = result.files[reading.number];
    if (reading.error) {
      result.problems.push_back(unreadable(digested.file, reading.error));
    } else if (reading.digest.size != digested.state.size) {
      result.problems.push_back(changedMeanwhile(digested.file));
    } else {
      digested.sha256 = mtlupdate::hexText(reading.digest.sha256);
    }
  }
  for (const DigestedFile& digested : result.files) {
    if (digested.sha256.empty() || mayChangeUnseen(digested.state, start)) continue;
    // A name with a line break is refused, and no part of any library.
    if (nameProblem(digested.file.path).empty()) {
      result.cache.add(digested.file.path, digested.state, digested.sha256);
    }
  }
  return result;
}

std::vector<std::string> changedSince(const std::vector<DigestedFile>& files) {
  std::vector<char> isChanged(files.size());
  doShortWork(files.size(), [&](std::size_t number) {
    const DigestedFile& digested = files[number];
    FileState now;
    const std::error_code error = readFileState(digested.file.location, now);
    // Not the time of the last change of any kind: attributes are no content.
    now.changed = digested.state.changed;
    isChanged[number] = error || !(now == digested.state) ? 1 : 0;
  });
  std::vector<std::string> problems;
  for (std::size_t number = 0; number < files.size(); ++number) {
    if (isChanged[number] != 0) problems.push_back(changedMeanwhile(files[number].file));
  }
  return problems;
}

}  // namespace mtlpublish
