// What a handle keeps, and that building and withdrawing leaves nothing behind. The figures are counters; the
// times mean nothing.
#include <malloc.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "floor/encode.hpp"
#include "support/AllocationRecorder.hpp"
#include "support/BenchHost.hpp"
#include "support/exampleModel.hpp"

namespace {

using namespace spf::bench;
using namespace agent::spf::frameworksetup;
using cppmicroservices::Any;

std::unique_ptr<BenchHost> host; // while the cycles run

// What a client keeps of a configuration: the content in its handle, and the trackers that follow it.
struct Kept {
    explicit Kept(Shape const& shape)
        : model(shape)
        , listener([] {}, encodeByHand(model, 1)) {}

    Model model;
    FrameworkSetupListener listener;
};

// The least that holds the same: lists of the content, and of each publisher's endpoints once more, under its
// ID, from which those leave that are reported.
struct Listed {
    explicit Listed(Shape const& shape) {
        interfaces.reserve(shape.interfaces);
        for (std::size_t i = 0; i < shape.interfaces; ++i) {
            interfaces.push_back(makeInterface(i));
        }
        publishers.reserve(shape.publishers);
        outstanding.reserve(shape.publishers);
        for (std::size_t p = 0; p < shape.publishers; ++p) {
            publishers.push_back(makePublisher(p, shape.endpointsOfEachKind));
            auto const& publisher = publishers.back();
            outstanding.try_emplace(publisher.uniqueID, publisher.endpointsToConnectTo,
                                    publisher.endpointsToBindTo);
        }
        mappings.reserve(shape.mappings);
        forEachMapping(shape, [this](std::size_t i, std::size_t p) {
            mappings.push_back({makeID("intf", i), makeID("publ", p)});
        });
    }

    std::vector<SPFServiceInterfaceConfiguration> interfaces;
    std::vector<SPFServicePublisherConfiguration> publishers;
    std::vector<ServiceMapping> mappings;
    std::unordered_map<std::string, std::pair<std::vector<Any>, std::vector<Any>>> outstanding;
};

template <typename Content>
double bytesKept(Shape const& shape) {
    AllocationRecorder const recorder;
    Content const content(shape);
    return static_cast<double>(recorder.bytesKept());
}

constexpr std::size_t count = 1000;

// What each of the `count` entries adds that `more` has and `base` has not.
template <typename Content>
void keep(benchmark::State& state, Shape const& base, Shape const& more) {
    Content const first(base); // makes what is made once in a process
    for (auto _ : state) {
        state.counters["bytes_kept"] =
            (bytesKept<Content>(more) - bytesKept<Content>(base)) / static_cast<double>(count);
    }
}

template <typename Content>
void registerKept(std::string const& way) {
    auto const add = [&way](std::string const& entry, Shape const& base, Shape const& more) {
        auto const name = "kept_per_" + entry + "/" + way;
        benchmark::RegisterBenchmark(name.c_str(), keep<Content>, base, more)->Iterations(1);
    };
    constexpr auto explicitly = Mapped::Explicitly;
    add("interface", {count, 1, 0, explicitly}, {2 * count, 1, 0, explicitly});
    add("publisher", {1, count, 0, explicitly}, {1, 2 * count, 0, explicitly});
    add("mapping", {count, 1, 0, explicitly}, {count, 1, count, explicitly});
    add("endpoint", {1, 1, 0, explicitly, count}, {1, 1, 0, explicitly, count + count / 2});
}

void buildAndWithdraw(int cycles) {
    std::string const configurationID = "cycle";
    for (int cycle = 0; cycle < cycles; ++cycle) {
        makeBuilder(configurationID, {2, 2, 4, Mapped::Explicitly}).build();
        if (cycle % 100 == 99) {
            host->settle(configurationID); // so that withdrawals do not pile up
        }
    }
    host->settle(configurationID);
}

// Bytes that are in use after so many cycles of building and withdrawing and were not before.
void cycle(benchmark::State& state) {
    constexpr int warmUp = 1000;
    for (auto _ : state) {
        buildAndWithdraw(warmUp);
        auto const before = ::mallinfo2().uordblks;
        buildAndWithdraw(static_cast<int>(state.range(0)));
        auto const after = ::mallinfo2().uordblks;
        state.counters["bytes_kept"] = static_cast<double>(after) - static_cast<double>(before);
    }
}
BENCHMARK(cycle)->Name("cycle/library")->Arg(1000)->Arg(100000)->Iterations(1)->Repetitions(1);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    registerKept<Kept>("library");
    registerKept<Listed>("floor");
    host = std::make_unique<BenchHost>();
    benchmark::RunSpecifiedBenchmarks();
    host.reset();
    benchmark::Shutdown();
    return 0;
}
