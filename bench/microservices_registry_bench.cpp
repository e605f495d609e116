// Speed of the service registry of the CppMicroServices interface: registering, finding, getting and tracking
// services, and delivering events. Compiles with either provider, so that the two can be compared.
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceTracker.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace registrybench {
struct Service {};
struct Other {};
} // namespace registrybench

namespace {

using namespace cppmicroservices;
using registrybench::Other;
using registrybench::Service;

// A framework in which so many services are registered, one in ten of them as Other.
class Population {
public:
    explicit Population(std::int64_t count) {
        framework_.Start();
        context_ = framework_.GetBundleContext();
        for (std::int64_t index = 0; index < count; ++index) {
            ServiceProperties const properties{{"index", static_cast<int>(index)},
                                               {"name", std::string("a service")}};
            if (index % 10 == 0) {
                context_.RegisterService<Other>(std::make_shared<Other>(), properties);
            } else {
                context_.RegisterService<Service>(std::make_shared<Service>(), properties);
            }
        }
    }
    ~Population() {
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero());
    }
    Population(Population const&) = delete;
    Population& operator=(Population const&) = delete;

    BundleContext& context() { return context_; }

private:
    Framework framework_ = FrameworkFactory().NewFramework();
    BundleContext context_;
};

void registerAndUnregister(benchmark::State& state) {
    Population population(state.range(0));
    auto const service = std::make_shared<Service>();
    ServiceProperties const properties{{"index", 1}, {"name", std::string("a service")}};
    for (auto _ : state) {
        auto registration = population.context().RegisterService<Service>(service, properties);
        registration.Unregister();
    }
}

void registerMany(benchmark::State& state) {
    auto const service = std::make_shared<Service>();
    for (auto _ : state) {
        state.PauseTiming();
        auto population = std::make_unique<Population>(0);
        state.ResumeTiming();
        for (std::int64_t index = 0; index < state.range(0); ++index) {
            population->context().RegisterService<Service>(service);
        }
        state.PauseTiming();
        population.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void setProperties(benchmark::State& state) {
    Population population(state.range(0));
    auto registration = population.context().RegisterService<Service>(std::make_shared<Service>());
    ServiceProperties const properties{{"index", 1}, {"name", std::string("a service")}};
    for (auto _ : state) {
        registration.SetProperties(properties);
    }
}

void findByInterface(benchmark::State& state) {
    Population population(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(population.context().GetServiceReferences<Service>());
    }
}

void findByFilter(benchmark::State& state) {
    Population population(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(population.context().GetServiceReferences<Service>("(index=5)"));
    }
}

void findByInterfaceInTheFilter(benchmark::State& state) {
    Population population(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            population.context().GetServiceReferences("", "(&(objectclass=registrybench::Other)(index=10))"));
    }
}

void findBest(benchmark::State& state) {
    Population population(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(population.context().GetServiceReference<Service>());
    }
}

void getAndRelease(benchmark::State& state) {
    Population population(state.range(0));
    auto const reference = population.context().GetServiceReference<Service>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(population.context().GetService(reference));
    }
}

// So many listeners, all of which match.
void deliverToListeners(benchmark::State& state) {
    Population population(0);
    std::int64_t calls = 0;
    for (std::int64_t index = 0; index < state.range(0); ++index) {
        population.context().AddServiceListener([&calls](ServiceEvent const&) { ++calls; });
    }
    auto registration = population.context().RegisterService<Service>(std::make_shared<Service>());
    for (auto _ : state) {
        registration.SetProperties({});
    }
    state.SetItemsProcessed(calls);
}

// So many listeners for another interface: what a service costs those who do not care.
void deliverPastListenersForOthers(benchmark::State& state) {
    Population population(0);
    for (std::int64_t index = 0; index < state.range(0); ++index) {
        population.context().AddServiceListener([](ServiceEvent const&) {},
                                                "(objectclass=registrybench::Other)");
    }
    auto registration = population.context().RegisterService<Service>(std::make_shared<Service>());
    for (auto _ : state) {
        registration.SetProperties({});
    }
}

// So many listeners, each with a filter on a property.
void deliverToFilteredListeners(benchmark::State& state) {
    Population population(0);
    for (std::int64_t index = 0; index < state.range(0); ++index) {
        population.context().AddServiceListener([](ServiceEvent const&) {},
                                                "(index=" + std::to_string(index) + ")");
    }
    auto registration = population.context().RegisterService<Service>(std::make_shared<Service>());
    for (auto _ : state) {
        registration.SetProperties({{"index", 5}});
    }
}

void addAndRemoveListener(benchmark::State& state) {
    Population population(0);
    for (std::int64_t index = 0; index < state.range(0); ++index) {
        population.context().AddServiceListener([](ServiceEvent const&) {});
    }
    for (auto _ : state) {
        population.context().RemoveListener(
            population.context().AddServiceListener([](ServiceEvent const&) {}));
    }
}

void openTracker(benchmark::State& state) {
    Population population(state.range(0));
    for (auto _ : state) {
        ServiceTracker<Service> tracker(population.context());
        tracker.Open();
        benchmark::DoNotOptimize(tracker.GetService());
    }
}

void askTracker(benchmark::State& state) {
    Population population(state.range(0));
    ServiceTracker<Service> tracker(population.context());
    tracker.Open();
    for (auto _ : state) {
        benchmark::DoNotOptimize(tracker.GetService());
    }
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(10)->Arg(1000)->Arg(10000);
}

BENCHMARK(registerAndUnregister)->Apply(sizes);
BENCHMARK(registerMany)->Apply(sizes);
BENCHMARK(setProperties)->Apply(sizes);
BENCHMARK(findByInterface)->Apply(sizes);
BENCHMARK(findByFilter)->Apply(sizes);
BENCHMARK(findByInterfaceInTheFilter)->Apply(sizes);
BENCHMARK(findBest)->Apply(sizes);
BENCHMARK(getAndRelease)->Apply(sizes);
BENCHMARK(deliverToListeners)->Apply(sizes);
BENCHMARK(deliverPastListenersForOthers)->Apply(sizes);
BENCHMARK(deliverToFilteredListeners)->Apply(sizes);
BENCHMARK(addAndRemoveListener)->Apply(sizes);
BENCHMARK(openTracker)->Apply(sizes);
BENCHMARK(askTracker)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
