// build() as a whole beside the sum of what it must do, and build() from several threads.
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/Configuration.hpp>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "floor/encode.hpp"
#include "publication/installAndStartMicroServices.hpp"
#include "support/BenchHost.hpp"
#include "support/exampleModel.hpp"

namespace {

using namespace spf::bench;
using namespace agent::spf::frameworksetup;
using agent::spf::frameworklistener::FrameworkListener;
using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;

constexpr char const* factoryPID = "qo.spf.framework";

std::unique_ptr<BenchHost> host; // while the benchmarks run

// Throws unless the model holds every interface and every publisher that its mappings name. Mappings of one
// interface, and of one publisher, follow one another in an index, so each is looked up once.
void checkByHand(Model const& model) {
    auto const& byInterface = model.mappings.get<0>();
    for (auto mapping = byInterface.begin(); mapping != byInterface.end();
         mapping = byInterface.upper_bound(mapping->serviceID)) {
        if (model.interfaces.find(mapping->serviceID) == model.interfaces.end()) {
            throw std::runtime_error("unknown interface " + mapping->serviceID);
        }
    }
    auto const& byPublisher = model.mappings.get<1>();
    for (auto mapping = byPublisher.begin(); mapping != byPublisher.end();
         mapping = byPublisher.upper_bound(mapping->publisherID)) {
        if (model.publishers.find(mapping->publisherID) == model.publishers.end()) {
            throw std::runtime_error("unknown publisher " + mapping->publisherID);
        }
    }
}

// A configuration that is published by hand, and withdrawn at the end.
class PublishedByHand {
public:
    PublishedByHand(Model const& model, std::string const& configurationID) {
        checkByHand(model);
        installAndStartMicroServices();
        auto properties = encodeByHand(model, 1);
        auto context = agent::host::getFramework()->GetBundleContext();
        auto const references =
            context.GetServiceReferences<ConfigurationAdmin>(cppmicroservices::LDAPFilter().ToString());
        auto const admin = context.GetServiceObjects(references.front()).GetService();
        configuration = admin->GetFactoryConfiguration(factoryPID, configurationID);
        registration = context.RegisterService<FrameworkListener>(
            std::make_shared<FrameworkSetupListener>([] {}, properties));
        configuration->Update(std::move(properties));
    }
    PublishedByHand(PublishedByHand const&) = delete;
    PublishedByHand& operator=(PublishedByHand const&) = delete;
    ~PublishedByHand() {
        configuration->Remove();
        registration.Unregister();
    }

private:
    std::shared_ptr<Configuration> configuration;
    cppmicroservices::ServiceRegistration<FrameworkListener> registration;
};

// Times `publish(content)`, where `makeContent()` made the content just before. Withdrawing what was
// published and destroying the content are not timed.
template <typename MakeContent, typename Publish>
void measurePublishing(benchmark::State& state, MakeContent const& makeContent, Publish const& publish) {
    for (auto _ : state) {
        state.PauseTiming();
        {
            auto content = makeContent();
            state.ResumeTiming();
            auto const published = publish(content);
            state.PauseTiming();
        }
        host->settle();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations());
}

void build(benchmark::State& state, Shape const& shape) {
    measurePublishing(
        state, [&] { return makeBuilder("measured", shape); },
        [](SPFConfigurationBuilder& builder) { return builder.build(); });
}

void publishByHand(benchmark::State& state, Shape const& shape) {
    measurePublishing(
        state, [&] { return std::make_unique<Model>(shape); },
        [](std::unique_ptr<Model> const& model) {
            return std::make_unique<PublishedByHand>(*model, "measured");
        });
}

constexpr Shape threadShape{10, 2, 20, Mapped::Explicitly};

// Building and withdrawing, each thread its own configuration.
void buildFromThreads(benchmark::State& state) {
    auto const id = "of thread " + std::to_string(state.thread_index());
    for (auto _ : state) {
        makeBuilder(id, threadShape).build();
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        host->settle();
    }
}

void publishByHandFromThreads(benchmark::State& state) {
    auto const id = "of thread " + std::to_string(state.thread_index());
    for (auto _ : state) {
        PublishedByHand const published(Model(threadShape), id);
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        host->settle();
    }
}

void registerAll() {
    std::pair<char const*, Shape> const shapes[] = {{"1x1_1", {1, 1, 1, Mapped::Explicitly}},
                                                    {"100x4_400", {100, 4, 400, Mapped::Explicitly}},
                                                    {"1000x8_8000", {1000, 8, 8000, Mapped::Explicitly}}};
    for (auto const& [name, shape] : shapes) {
        auto const prefix = std::string("build/") + name;
        benchmark::RegisterBenchmark((prefix + "/library").c_str(),
                                     [shape = shape](benchmark::State& state) { build(state, shape); });
        benchmark::RegisterBenchmark((prefix + "/floor").c_str(), [shape = shape](benchmark::State& state) {
            publishByHand(state, shape);
        });
    }
    for (int const threads : {1, 2, 4, 8}) {
        benchmark::RegisterBenchmark("build_and_withdraw/library", buildFromThreads)
            ->Threads(threads)
            ->UseRealTime();
        benchmark::RegisterBenchmark("build_and_withdraw/floor", publishByHandFromThreads)
            ->Threads(threads)
            ->UseRealTime();
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    registerAll();
    host = std::make_unique<BenchHost>();
    benchmark::RunSpecifiedBenchmarks();
    host.reset();
    benchmark::Shutdown();
    return 0;
}
