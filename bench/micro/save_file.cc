// Measures saving finished bodies as files, in 200 existing folders. TMPDIR selects the disk.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "body.h"
#include "cost.h"
#include "host.h"
#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"
#include "support/temp_dir.h"

namespace {

constexpr std::int64_t kFolders = 200;

// Makes the folders and names `count` files that go to them by turns.
std::vector<QUtils::CharString> prepareFiles(const Host& host, std::int64_t count) {
  for (std::int64_t i = 0; i < kFolders; ++i)
    std::filesystem::create_directories(host.directory / ("maps/folder-" + std::to_string(i)));
  std::vector<QUtils::CharString> names;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string name =
        "maps/folder-" + std::to_string(i % kFolders) + "/oak-" + std::to_string(i) + ".tx";
    names.emplace_back(name.c_str());
  }
  return names;
}

bool areSaved(const Host& host, const std::vector<QUtils::CharString>& names,
              const std::string& body) {
  for (const QUtils::CharString& name : names) {
    if (readFile(host.directory / name.text()) != body) return false;
  }
  return true;
}

bool save(Host& host, const QUtils::CharString& name, BodyStream& body) {
  ErrorChain error;
  host.downloader.saveFile(error, name, body);
  return !error;
}

// With `replaces`, files of the same content are there before.
void saveFile(benchmark::State& state, bool replaces) {
  Host host;
  const auto names = prepareFiles(host, state.max_iterations);
  const std::string body = makeBody(static_cast<std::size_t>(state.range(0)));
  BodyStream stream;
  bool isSaved = writeInPieces(stream, body, body.size());
  for (auto name = names.begin(); replaces && name != names.end(); ++name)
    isSaved = save(host, *name, stream) && isSaved;
  auto next = names.begin();
  for ([[maybe_unused]] auto _ : state)
    isSaved = save(host, *next++, stream) && isSaved;
  if (!isSaved || !areSaved(host, names, body)) {
    state.SkipWithError("not every file was saved whole");
  }
  state.counters["per_byte"] = costPer(state.range(0));
}

// Few files, and no more bytes than the system keeps until later. Some file systems take
// long to pass over the places of files that were deleted in the last minutes: there,
// `fresh` is slower soon after another run.
void smallFiles(benchmark::internal::Benchmark* saving) {
  saving->UseRealTime()->ArgName("body")->Arg(4096)->Iterations(2000);
}
void largeFiles(benchmark::internal::Benchmark* saving) {
  saving->UseRealTime()->ArgName("body")->Arg(524288)->Iterations(400);
}
BENCHMARK_CAPTURE(saveFile, fresh, false)->Apply(smallFiles);
BENCHMARK_CAPTURE(saveFile, fresh, false)->Apply(largeFiles);
BENCHMARK_CAPTURE(saveFile, replaced, true)->Apply(smallFiles);
BENCHMARK_CAPTURE(saveFile, replaced, true)->Apply(largeFiles);

}  // namespace
