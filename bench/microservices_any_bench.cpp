// Speed of Any, the value of any type of the CppMicroServices interface. Compiles with either provider, so
// that the two can be compared.
#include "cppmicroservices/Any.h"

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::ref_any_cast;

template <typename T>
T sample();
template <>
int sample<int>() {
    return 42;
}
template <>
std::string sample<std::string>() {
    return "short text";
}
template <>
std::vector<Any> sample<std::vector<Any>>() {
    return {1, 2, 3};
}

template <typename T>
void makeAny(benchmark::State& state) {
    T const value = sample<T>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(Any(value));
    }
}
template <typename T>
void copyAny(benchmark::State& state) {
    Any const any(sample<T>());
    for (auto _ : state) {
        benchmark::DoNotOptimize(Any(any));
    }
}
template <typename T>
void moveAny(benchmark::State& state) {
    Any any(sample<T>());
    for (auto _ : state) {
        Any moved(std::move(any));
        benchmark::DoNotOptimize(moved);
        any = std::move(moved);
    }
}
template <typename T>
void castAny(benchmark::State& state) {
    Any any(sample<T>());
    for (auto _ : state) {
        benchmark::DoNotOptimize(any);
        benchmark::DoNotOptimize(&ref_any_cast<T>(any));
    }
}
template <typename T>
void compareAny(benchmark::State& state) {
    Any const any(sample<T>());
    Any const other(any);
    for (auto _ : state) {
        benchmark::DoNotOptimize(any == other);
    }
}
#define SPF_BENCHMARK_ANY(function)                                                                          \
    BENCHMARK(function<int>)->Name(#function "/int");                                                        \
    BENCHMARK(function<std::string>)->Name(#function "/string");                                             \
    BENCHMARK(function<std::vector<Any>>)->Name(#function "/vector")
SPF_BENCHMARK_ANY(makeAny);
SPF_BENCHMARK_ANY(copyAny);
SPF_BENCHMARK_ANY(moveAny);
SPF_BENCHMARK_ANY(castAny);
SPF_BENCHMARK_ANY(compareAny);

// Grows without reserving, so that Anys are moved to larger memory again and again.
void growVectorOfAny(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<Any> list;
        for (int i = 0; i < 1000; ++i) {
            list.emplace_back(std::string("endpoint"));
        }
        benchmark::DoNotOptimize(list);
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(growVectorOfAny);

} // namespace

BENCHMARK_MAIN();
