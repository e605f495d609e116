// How the benchmarks of the library measure.
#ifndef BENCH_LIBRARY_SUPPORT_MEASURE_HPP
#define BENCH_LIBRARY_SUPPORT_MEASURE_HPP

#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>

#include "support/AllocationRecorder.hpp"

namespace spf::bench {

// Reports what one call of `make` allocates, and how much of that its result keeps.
template <typename Make>
void countAllocations(benchmark::State& state, Make const& make) {
    AllocationRecorder const recorder;
    auto const made = make();
    state.counters["allocations"] = static_cast<double>(recorder.allocations());
    state.counters["bytes_kept"] = static_cast<double>(recorder.bytesKept());
}

// Times the making of values, `batch` of them in each iteration; destroying them is not timed. `items` is how
// many things one value stands for: figures are compared by the time per item.
template <typename Make>
void measureMaking(benchmark::State& state, std::size_t batch, std::size_t items, Make const& make) {
    std::vector<decltype(make())> made;
    made.reserve(batch);
    for (auto _ : state) {
        for (std::size_t i = 0; i < batch; ++i) {
            made.push_back(make());
        }
        state.PauseTiming();
        made.clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch * items));
    countAllocations(state, make);
}

} // namespace spf::bench

#endif
