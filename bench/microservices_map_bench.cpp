// Speed of the property maps of the CppMicroServices interface: building, copying, reading, comparing and
// printing them. Compiles with either provider, so that the two can be compared.
#include "microservices_maps.hpp"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace valuesbench;

// What a published configuration looks like: a list of small maps, each with a nested one.
AnyMap makeConfiguration(std::size_t entries) {
    std::vector<Any> list;
    list.reserve(entries);
    for (std::size_t i = 0; i < entries; ++i) {
        AnyMap properties(kCaseInsensitive);
        properties["priority"] = std::string("high");
        properties["timeout"] = std::string("2500");
        AnyMap entry(kCaseInsensitive);
        entry["name"] = std::string("qo.spf.SomeServiceInterface");
        entry["uniqueID"] = "interface-" + std::to_string(i);
        entry["version"] = 3;
        entry["requestedProperties"] = std::move(properties);
        list.emplace_back(std::move(entry));
    }
    AnyMap configuration(kCaseInsensitive);
    configuration["serviceInterfaces"] = std::move(list);
    return configuration;
}

void setItems(benchmark::State& state, std::int64_t perIteration) {
    state.SetItemsProcessed(state.iterations() * perIteration);
}

template <AnyMap::map_type kind>
void buildMap(benchmark::State& state) {
    auto const keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(makeMap(kind, keys));
    }
    setItems(state, state.range(0));
}

template <AnyMap::map_type kind>
void copyMap(benchmark::State& state) {
    auto const map = makeMap(kind, makeKeys(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        benchmark::DoNotOptimize(AnyMap(map));
    }
    setItems(state, state.range(0));
}

template <AnyMap::map_type kind>
void lookUp(benchmark::State& state) {
    auto const keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    auto const map = makeMap(kind, keys);
    for (auto _ : state) {
        for (auto const& key : keys) {
            benchmark::DoNotOptimize(map.at(key).Empty());
        }
    }
    setItems(state, state.range(0));
}

template <AnyMap::map_type kind>
void lookUpMissing(benchmark::State& state) {
    auto const keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    auto const map = makeMap(kind, keys);
    std::vector<std::string> others;
    for (auto const& key : keys) {
        others.push_back(key + "x");
    }
    for (auto _ : state) {
        for (auto const& key : others) {
            benchmark::DoNotOptimize(map.count(key));
        }
    }
    setItems(state, state.range(0));
}

template <AnyMap::map_type kind>
void iterate(benchmark::State& state) {
    auto const map = makeMap(kind, makeKeys(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        std::size_t length = 0;
        for (auto const& entry : map) {
            length += entry.first.size();
        }
        benchmark::DoNotOptimize(length);
    }
    setItems(state, state.range(0));
}

template <AnyMap::map_type kind>
void compareMaps(benchmark::State& state) {
    auto const map = makeMap(kind, makeKeys(static_cast<std::size_t>(state.range(0))));
    AnyMap const copy(map);
    for (auto _ : state) {
        benchmark::DoNotOptimize(map == copy);
    }
    setItems(state, state.range(0));
}

template <AnyMap::map_type kind>
void eraseAndInsert(benchmark::State& state) {
    auto const keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    auto map = makeMap(kind, keys);
    for (auto _ : state) {
        for (auto const& key : keys) {
            map.erase(key);
            map[key] = 1;
        }
    }
    setItems(state, state.range(0));
}

#define SPF_BENCHMARK_MAPS(function)                                                                         \
    BENCHMARK(function<kOrdered>)->Name(#function "/ordered")->Arg(4)->Arg(100)->Arg(100000);                \
    BENCHMARK(function<kHashed>)->Name(#function "/hashed")->Arg(4)->Arg(100)->Arg(100000);                  \
    BENCHMARK(function<kCaseInsensitive>)->Name(#function "/caseInsensitive")->Arg(4)->Arg(100)->Arg(100000)
SPF_BENCHMARK_MAPS(buildMap);
SPF_BENCHMARK_MAPS(copyMap);
SPF_BENCHMARK_MAPS(lookUp);
SPF_BENCHMARK_MAPS(lookUpMissing);
SPF_BENCHMARK_MAPS(iterate);
SPF_BENCHMARK_MAPS(compareMaps);
SPF_BENCHMARK_MAPS(eraseAndInsert);

AnyMap::unordered_any_map makeStandardMap(std::vector<std::string> const& keys) {
    AnyMap::unordered_any_map standard;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        standard[keys[i]] = makeValue(i);
    }
    return standard;
}

void takeStandardMap(benchmark::State& state) {
    auto const standard = makeStandardMap(makeKeys(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        benchmark::DoNotOptimize(AnyMap(standard));
    }
    setItems(state, state.range(0));
}
BENCHMARK(takeStandardMap)->Arg(8)->Arg(1000);

// Includes the copy of the standard map that is then moved in.
void moveStandardMap(benchmark::State& state) {
    auto const standard = makeStandardMap(makeKeys(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        AnyMap::unordered_any_map copy(standard);
        benchmark::DoNotOptimize(AnyMap(std::move(copy)));
    }
    setItems(state, state.range(0));
}
BENCHMARK(moveStandardMap)->Arg(8)->Arg(1000);

void makeEmptyMap(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(AnyMap());
    }
}
BENCHMARK(makeEmptyMap);

void moveMap(benchmark::State& state) {
    auto map = makeMap(kCaseInsensitive, makeKeys(100));
    for (auto _ : state) {
        AnyMap moved(std::move(map));
        benchmark::DoNotOptimize(moved);
        map = std::move(moved);
    }
}
BENCHMARK(moveMap);

void buildConfiguration(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(makeConfiguration(static_cast<std::size_t>(state.range(0))));
    }
    setItems(state, state.range(0));
}
BENCHMARK(buildConfiguration)->Arg(1)->Arg(100)->Arg(10000);

void copyConfiguration(benchmark::State& state) {
    auto const configuration = makeConfiguration(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(AnyMap(configuration));
    }
    setItems(state, state.range(0));
}
BENCHMARK(copyConfiguration)->Arg(1)->Arg(100)->Arg(10000);

void printConfiguration(benchmark::State& state) {
    Any const configuration(makeConfiguration(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        benchmark::DoNotOptimize(configuration.ToJSON());
    }
    setItems(state, state.range(0));
}
BENCHMARK(printConfiguration)->Arg(1)->Arg(100);

void reachCompoundKey(benchmark::State& state) {
    auto const configuration = makeConfiguration(10);
    std::string const key = "serviceInterfaces.5.requestedProperties.timeout";
    for (auto _ : state) {
        benchmark::DoNotOptimize(&configuration.AtCompoundKey(key));
    }
}
BENCHMARK(reachCompoundKey);

void reachMissingCompoundKey(benchmark::State& state) {
    auto const configuration = makeConfiguration(10);
    std::string const key = "serviceInterfaces.5.requestedProperties.none";
    Any const none;
    for (auto _ : state) {
        benchmark::DoNotOptimize(configuration.AtCompoundKey(key, none));
    }
}
BENCHMARK(reachMissingCompoundKey);

} // namespace

BENCHMARK_MAIN();
