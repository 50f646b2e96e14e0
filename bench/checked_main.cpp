// The main function of the programs that measure by the benchmark library: its own exit status says nothing of errors.

#include "bench/checked_state.h"
#include "bench/once.h"

#include <atomic>
#include <cstdio>
#include <exception>
#include <vector>

namespace bench {

namespace {

std::atomic<bool> failed{false};

} // namespace

bool expect(benchmark::State& state, bool truth, const char* what)
{
    if (!truth) {
        failed = true;
        state.SkipWithError(what);
    }
    return truth;
}

} // namespace bench

int main(int count, char** given)
{
    bench::take_once(count, given);
    std::vector<char*> arguments(given, given + count);
    char shortest[] = "--benchmark_min_time=0.000000001"; // the first iteration takes longer
    if (bench::once()) {
        arguments.push_back(shortest);
    }
    count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 1;
    }
    try {
        if (benchmark::RunSpecifiedBenchmarks() == 0) {
            return 1;
        }
    } catch (const std::exception& failure) {
        static_cast<void>(std::fprintf(stderr, "%s: %s\n", arguments.front(), failure.what()));
        return 1;
    }
    return bench::failed ? 1 : 0;
}
