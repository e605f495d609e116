// Speed of the LDAP filters of the CppMicroServices interface: parsing, matching and printing them. Compiles
// with either provider, so that the two can be compared.
#include "cppmicroservices/LDAPFilter.h"
#include "microservices_maps.hpp"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

using namespace valuesbench;
using cppmicroservices::LDAPFilter;

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
