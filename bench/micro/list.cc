// Measures parsing a list and selecting from it: the time and the memory that one entry costs,
// which should hardly depend on how many there are.
//
// Each parse is the first of its process. If they were repeated in one process, a short list would
// gain more than a long one from what is already in the processor's caches and in the heap, and
// the peak of memory could not be told from what earlier lists left behind.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "cost.h"
#include "list_host.h"
#include "support/child_process.h"

namespace {

struct Parse {
  double seconds = 0;
  double peakBytes = 0;
};

// False when the parse failed or selected others than it had to.
bool parseInNewProcess(Entries entries, std::int64_t count, Parse& parse) {
  constexpr double kTimeout = 600;
  const ProcessResult result = runProcess(
      {LIST_PARSE_PROGRAM, std::to_string(static_cast<int>(entries)), std::to_string(count)}, {},
      kTimeout);
  return result.exitCode == 0 && std::istringstream(result.out) >> parse.seconds >> parse.peakBytes;
}

void parseList(benchmark::State& state, Entries entries) {
  Parse parse;
  for ([[maybe_unused]] auto _ : state) {
    if (!parseInNewProcess(entries, state.range(0), parse)) {
      state.SkipWithError("other entries selected than expected");
      return;
    }
    state.SetIterationTime(parse.seconds);
  }
  state.counters["per_entry"] = costPer(state.range(0));
  state.counters["peak_bytes_per_entry"] = parse.peakBytes / static_cast<double>(state.range(0));
}

void counts(benchmark::internal::Benchmark* parsing) {
  parsing->UseManualTime()->Unit(benchmark::kMillisecond);
  parsing->ArgName("entries")->Arg(10000)->Arg(100000)->Arg(1000000);
}
BENCHMARK_CAPTURE(parseList, always, Entries::kAlways)->Apply(counts);
BENCHMARK_CAPTURE(parseList, missing_present, Entries::kPresent)->Apply(counts);
BENCHMARK_CAPTURE(parseList, missing_absent, Entries::kAbsent)->Apply(counts);

}  // namespace
