#pragma once

#include <benchmark/benchmark.h>

namespace bench {

/// Returns `truth`. When it is false, reports `what` for the benchmark and makes the program fail; the benchmark must
/// then leave its loop. Any thread.
bool expect(benchmark::State& state, bool truth, const char* what);

} // namespace bench
