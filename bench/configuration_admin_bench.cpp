// Configuration Admin: from an update to the service that it is for.
#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::ServiceProperties;
using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;
using cppmicroservices::service::cm::ManagedService;
using cppmicroservices::service::cm::ManagedServiceFactory;

class RunningFramework {
public:
    RunningFramework() {
        framework_.Start();
        context = framework_.GetBundleContext();
        for (auto& bundle : context.InstallBundles(SPF_CONFIGURATION_ADMIN_BUNDLE)) {
            bundle.Start();
        }
        admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
    }

    ~RunningFramework() {
        admin.reset();
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero());
    }

    RunningFramework(RunningFramework const&) = delete;
    RunningFramework& operator=(RunningFramework const&) = delete;

private:
    cppmicroservices::Framework framework_{cppmicroservices::FrameworkFactory{}.NewFramework()};

public:
    cppmicroservices::BundleContext context;
    std::shared_ptr<ConfigurationAdmin> admin;
};

struct CountingService : ManagedService {
    void Updated(AnyMap const&) override { updates.fetch_add(1, std::memory_order_release); }
    std::atomic<std::int64_t> updates{0};
};

struct IgnoringFactory : ManagedServiceFactory {
    void Updated(std::string const&, AnyMap const&) override {}
    void Removed(std::string const&) override {}
};

AnyMap someProperties() {
    AnyMap properties{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
    for (int i = 0; i < 10; ++i) {
        properties["key" + std::to_string(i)] = i;
    }
    return properties;
}

std::shared_ptr<CountingService> registerService(RunningFramework& running, std::string const& pid) {
    auto service = std::make_shared<CountingService>();
    running.context.RegisterService<ManagedService>(service, ServiceProperties{{"service.pid", Any{pid}}});
    return service;
}

// The call of Update() until Updated() runs, seen by a thread that does nothing but look out for it.
void untilUpdatedRuns(benchmark::State& state) {
    RunningFramework running;
    auto const service = registerService(running, "pid");
    auto const configuration = running.admin->GetConfiguration("pid");
    auto const properties = someProperties();
    std::int64_t updates = 0;
    for (auto _ : state) {
        configuration->Update(properties);
        ++updates;
        while (service->updates.load(std::memory_order_acquire) < updates) {
        }
    }
}
BENCHMARK(untilUpdatedRuns)->UseRealTime();

// The same until the future is ready, as a client waits for it.
void untilFutureIsReady(benchmark::State& state) {
    RunningFramework running;
    auto const service = registerService(running, "pid");
    auto const configuration = running.admin->GetConfiguration("pid");
    auto const properties = someProperties();
    for (auto _ : state) {
        configuration->Update(properties).wait();
    }
}
BENCHMARK(untilFutureIsReady)->UseRealTime();

// 1000 updates, spread over the given number of PIDs, until the last has been delivered.
void thousandUpdates(benchmark::State& state) {
    constexpr std::size_t updates = 1000;
    RunningFramework running;
    std::vector<std::shared_ptr<Configuration>> configurations;
    for (int i = 0; i < state.range(0); ++i) {
        auto const pid = "pid" + std::to_string(i);
        registerService(running, pid);
        configurations.push_back(running.admin->GetConfiguration(pid));
    }
    auto const properties = someProperties();
    std::vector<std::shared_future<void>> delivered(updates);
    for (auto _ : state) {
        for (std::size_t i = 0; i < updates; ++i) {
            delivered[i] = configurations[i % configurations.size()]->Update(properties);
        }
        for (auto const& future : delivered) {
            future.wait();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(updates));
}
BENCHMARK(thousandUpdates)->Arg(1)->Arg(100)->UseRealTime();

void updateWithEqualProperties(benchmark::State& state) {
    RunningFramework running;
    auto const configuration = running.admin->GetConfiguration("pid");
    auto const properties = someProperties();
    configuration->Update(properties).wait();
    for (auto _ : state) {
        benchmark::DoNotOptimize(configuration->UpdateIfDifferent(properties));
    }
}
BENCHMARK(updateWithEqualProperties);

// One factory configuration from its creation to its removal, with a factory that is told of both.
void lifeOfAFactoryConfiguration(benchmark::State& state) {
    RunningFramework running;
    running.context.RegisterService<ManagedServiceFactory>(
        std::make_shared<IgnoringFactory>(), ServiceProperties{{"service.pid", Any{std::string{"factory"}}}});
    auto const properties = someProperties();
    for (auto _ : state) {
        running.admin->GetFactoryConfiguration("factory", "one")->Update(properties);
        running.admin->GetFactoryConfiguration("factory", "one")->Remove().wait();
    }
}
BENCHMARK(lifeOfAFactoryConfiguration)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
