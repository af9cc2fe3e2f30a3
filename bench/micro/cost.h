// Reports what one unit of a benchmark's work costs.
#ifndef MTLLIB_BENCH_MICRO_COST_H_
#define MTLLIB_BENCH_MICRO_COST_H_

#include <benchmark/benchmark.h>

#include <cstdint>

/// The time for one of the `units` that each iteration takes care of.
inline benchmark::Counter costPer(std::int64_t units) {
  return {static_cast<double>(units),
          benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}

#endif  // MTLLIB_BENCH_MICRO_COST_H_
