// Encoding a configuration: the library, the fastest way by hand, and the literal way.
#include <algorithm>
#include <map>
#include <string>

#include <benchmark/benchmark.h>

#include "floor/encode.hpp"
#include "model/SPFConfigurationBuilderImpl.hpp"
#include "publication/encodeConfiguration.hpp"
#include "support/exampleModel.hpp"
#include "support/measure.hpp"

namespace {

using namespace spf::bench;
using namespace agent::spf::frameworksetup;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

using Encode = AnyMap (*)(Model const&, int);

AnyMap encodeWithLibrary(Model const& model, int modificationCount) {
    return encodeConfiguration(model.interfaces, model.publishers, model.mappings, modificationCount);
}

std::size_t entriesOf(Shape const& shape) {
    return shape.mapped == Mapped::ByFlag ? shape.interfaces * shape.publishers : shape.mappings;
}

// Time and allocations of encoding, per mapping entry.
void encode(benchmark::State& state, Encode way, Shape const& shape) {
    Model const model(shape);
    if (Any(way(model, 1)) != Any(encodeWithLibrary(model, 1))) {
        state.SkipWithError("not the map that the library makes");
        return;
    }
    auto const entries = entriesOf(shape);
    auto const batch = std::max<std::size_t>(1, 400 / entries);
    measureMaking(state, batch, entries, [&] { return way(model, 1); });
}

// What one more mapping entry costs in allocations and bytes kept.
void encodeOneMoreMapping(benchmark::State& state, Encode way) {
    auto const cost = [way](std::size_t mappings) {
        Model const model({mappings, 1, mappings, Mapped::Explicitly});
        Model const unmapped({mappings, 1, 0, Mapped::Explicitly});
        auto const measure = [way](Model const& measured) {
            AllocationRecorder const recorder;
            auto const map = way(measured, 1);
            return std::make_pair(recorder.allocations(), recorder.bytesKept());
        };
        auto const with = measure(model);
        auto const without = measure(unmapped);
        return std::make_pair(double(with.first - without.first), double(with.second - without.second));
    };
    auto const few = cost(1000);
    auto const more = cost(2000);
    for (auto _ : state) {
    }
    state.counters["allocations"] = (more.first - few.first) / 1000;
    state.counters["bytes_kept"] = (more.second - few.second) / 1000;
}

// The check that build() makes before anything is published.
void checkMappings(benchmark::State& state, Shape const& shape) {
    Model model(shape);
    SPFConfigurationBuilderImpl builder("checked");
    builder.serviceInterfaces.swap(model.interfaces);
    builder.servicePublishers.swap(model.publishers);
    builder.serviceMappings.swap(model.mappings);
    for (auto _ : state) {
        builder.checkMappings();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(entriesOf(shape)));
}

std::string nameOf(Shape const& shape) {
    return std::to_string(shape.interfaces) + "x" + std::to_string(shape.publishers) +
           (shape.mapped == Mapped::ByFlag ? "_flagged" : "_" + std::to_string(shape.mappings));
}

void registerAll() {
    constexpr auto explicitly = Mapped::Explicitly;
    std::map<std::string, Encode> const ways = {
        {"library", encodeWithLibrary}, {"floor", encodeByHand}, {"literal", encodeLiterally}};
    Shape const shapes[] = {{1, 1, 1, explicitly},       {10, 2, 20, explicitly},
                            {100, 4, 400, explicitly},   {100, 8, 800, explicitly},
                            {1000, 8, 8000, explicitly}, {10000, 8, 80000, explicitly},
                            {1000, 8, 0, Mapped::ByFlag}};
    for (auto const& shape : shapes) {
        for (auto const& [name, way] : ways) {
            benchmark::RegisterBenchmark(
                ("encode/" + nameOf(shape) + "/" + name).c_str(),
                [way = way, shape](benchmark::State& state) { encode(state, way, shape); });
        }
        if (shape.mapped == explicitly) {
            benchmark::RegisterBenchmark(("check_mappings/" + nameOf(shape) + "/library").c_str(),
                                         [shape](benchmark::State& state) { checkMappings(state, shape); });
        }
    }
    for (auto const& [name, way] : ways) {
        benchmark::RegisterBenchmark(
            ("encode_one_more_mapping/" + name).c_str(),
            [way = way](benchmark::State& state) { encodeOneMoreMapping(state, way); })
            ->Iterations(1);
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
