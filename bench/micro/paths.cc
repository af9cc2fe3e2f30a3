// Measures the rules for paths, which every file of a run goes through several times.
#include <benchmark/benchmark.h>

#include "host.h"
#include "rules/path.h"

namespace {

// Measures `make()` and checks what it makes.
template <typename Make>
void measure(benchmark::State& state, const char* expected, Make make) {
  for ([[maybe_unused]] auto _ : state)
    benchmark::DoNotOptimize(make());
  if (!(make() == expected)) state.SkipWithError("another path than expected");
}

void canonicalise(benchmark::State& state, const char* path, const char* expected) {
  measure(state, expected, [&] { return mtlrules::canonicalPath(path); });
}
BENCHMARK_CAPTURE(canonicalise, plain, "/home/user/materials/maps/wood/oak-board-03.tx",
                  "/home/user/materials/maps/wood/oak-board-03.tx");
BENCHMARK_CAPTURE(canonicalise, dots, "/home/user//materials/./maps/metal/../wood\\oak-board-03.tx",
                  "/home/user/materials/maps/wood/oak-board-03.tx");

void fullPath(benchmark::State& state, PathSide side, const char* expected) {
  Host host;
  host.settings.targetDirectory = "/home/user/materials";
  host.downloader.remotePath = "/the library/v2";
  measure(state, expected,
          [&] { return host.downloader.makeFullPath("maps/wood/oak board 03.tx", side); });
}
BENCHMARK_CAPTURE(fullPath, local, PathSide::kLocal,
                  "/home/user/materials/maps/wood/oak board 03.tx");
BENCHMARK_CAPTURE(fullPath, remote, PathSide::kRemote,
                  "/the%20library/v2/maps/wood/oak%20board%2003.tx");

void percentEncode(benchmark::State& state, const char* path, const char* expected) {
  measure(state, expected, [&] { return mtlrules::percentEncoded(path); });
}
BENCHMARK_CAPTURE(percentEncode, plain, "/library/v2/maps/wood/oak-board-03.tx",
                  "/library/v2/maps/wood/oak-board-03.tx");
BENCHMARK_CAPTURE(percentEncode, escapes, "/the library/v2/maps/wood/ch\xC3\xAAne massif 03.tx",
                  "/the%20library/v2/maps/wood/ch%C3%AAne%20massif%2003.tx");

}  // namespace
