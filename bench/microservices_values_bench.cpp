// Speed of the value types of the CppMicroServices interface: building, copying, reading and printing
// property maps, and matching LDAP filters. Compiles with either provider, so that the two can be compared.
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/LDAPFilter.h"

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;
using cppmicroservices::ref_any_cast;

constexpr AnyMap::map_type kOrdered = AnyMap::ORDERED_MAP;
constexpr AnyMap::map_type kHashed = AnyMap::UNORDERED_MAP;
constexpr AnyMap::map_type kCaseInsensitive = AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS;

// Neither sorted nor all short enough for a small-string buffer.
std::vector<std::string> makeKeys(std::size_t count) {
    std::vector<std::string> keys;
    keys.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto const number = std::to_string((i * 7919) % 1000003);
        keys.push_back(i % 4 == 0 ? "configuration.property." + number : "key." + number);
    }
    return keys;
}

Any makeValue(std::size_t i) {
    switch (i % 4) {
    case 0:
        return static_cast<int>(i);
    case 1:
        return std::string("short text");
    case 2:
        return std::string("a text that no small-string buffer can hold");
    default:
        return i % 8 == 3;
    }
}

AnyMap makeMap(AnyMap::map_type kind, std::vector<std::string> const& keys) {
    AnyMap map(kind);
    for (std::size_t i = 0; i < keys.size(); ++i) {
        map[keys[i]] = makeValue(i);
    }
    return map;
}

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

AnyMap makeServiceProperties(AnyMap::map_type kind) {
    return AnyMap(kind,
                  {{"objectclass", std::vector<std::string>{"qo.spf.SomeServiceInterface", "qo.spf.Other"}},
                   {"service.id", 4711L},
                   {"service.scope", std::string("singleton")},
                   {"service.ranking", 10},
                   {"service.pid", std::string("qo.spf.publisher~instance-7")},
                   {"name", std::string("laser printer")},
                   {"enabled", true},
                   {"load", 0.75}});
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

void takeStandardMap(benchmark::State& state) {
    auto const keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    AnyMap::unordered_any_map standard;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        standard[keys[i]] = makeValue(i);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(AnyMap(standard));
    }
    setItems(state, state.range(0));
}
BENCHMARK(takeStandardMap)->Arg(8)->Arg(1000);

// Includes the copy of the standard map that is then moved in.
void moveStandardMap(benchmark::State& state) {
    auto const keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    AnyMap::unordered_any_map standard;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        standard[keys[i]] = makeValue(i);
    }
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
    setItems(state, 1000);
}
BENCHMARK(growVectorOfAny);

char const* const kFilters[] = {
    "(service.id=4711)",
    "(objectclass=qo.spf.SomeServiceInterface)",
    "(name=laser*)",
    "(name~=Laser Printer)",
    "(load>=0.5)",
    "(enabled=true)",
    "(missing=*)",
    "(&(objectclass=qo.spf.SomeServiceInterface)(!(service.pid=other*))(|(service.ranking>=5)(enabled=false))"
    ")",
};

void parseFilter(benchmark::State& state) {
    std::string const filter = kFilters[state.range(0)];
    state.SetLabel(filter);
    for (auto _ : state) {
        benchmark::DoNotOptimize(LDAPFilter(filter));
    }
}
BENCHMARK(parseFilter)->Arg(0)->Arg(7);

template <AnyMap::map_type kind>
void match(benchmark::State& state) {
    auto const properties = makeServiceProperties(kind);
    LDAPFilter const filter(kFilters[state.range(0)]);
    state.SetLabel(kFilters[state.range(0)]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(filter.Match(properties));
    }
}
BENCHMARK(match<kOrdered>)->Name("match/ordered")->DenseRange(0, 7);
BENCHMARK(match<kHashed>)->Name("match/hashed")->DenseRange(0, 7);
BENCHMARK(match<kCaseInsensitive>)->Name("match/caseInsensitive")->DenseRange(0, 7);

void matchRespectingCase(benchmark::State& state) {
    auto const properties = makeServiceProperties(kHashed);
    LDAPFilter const filter(kFilters[7]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(filter.MatchCase(properties));
    }
}
BENCHMARK(matchRespectingCase);

void matchLargeMap(benchmark::State& state) {
    auto const map = makeMap(static_cast<AnyMap::map_type>(state.range(0)), makeKeys(1000));
    LDAPFilter const filter("(key.7919=short text)");
    for (auto _ : state) {
        benchmark::DoNotOptimize(filter.Match(map));
    }
}
BENCHMARK(matchLargeMap)->Arg(kOrdered)->Arg(kHashed)->Arg(kCaseInsensitive);

void filterToString(benchmark::State& state) {
    LDAPFilter const filter(kFilters[7]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(filter.ToString());
    }
}
BENCHMARK(filterToString);

} // namespace

BENCHMARK_MAIN();
