// Speed of the framework of the CppMicroServices interface: installing and starting bundles. Compiles with
// either provider, so that the two can be compared.
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <benchmark/benchmark.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <stdlib.h>

namespace {

using namespace cppmicroservices;

constexpr int kBundles = 20;

// Copies of the bundles, which no framework of this process has loaded: what a library costs is paid by the
// first to load it, and a provider may keep libraries loaded for the next one.
class FreshBundles {
public:
    FreshBundles() {
        if (!mkdtemp(directory_.data())) {
            throw std::system_error(errno, std::generic_category(), directory_);
        }
        for (int number = 1; number <= kBundles; ++number) {
            auto const name = "bench_bundle_" + std::to_string(number) + ".so";
            std::filesystem::copy(std::filesystem::path(SPF_BENCHMARK_BUNDLE_DIRECTORY) / name, directory_);
            locations_.push_back(directory_ + "/" + name);
        }
    }
    ~FreshBundles() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    FreshBundles(FreshBundles const&) = delete;
    FreshBundles& operator=(FreshBundles const&) = delete;

    std::vector<std::string> const& locations() const { return locations_; }

private:
    std::string directory_ = (std::filesystem::temp_directory_path() / "spf-bundle-bench-XXXXXX").string();
    std::vector<std::string> locations_;
};

class RunningFramework {
public:
    RunningFramework() { framework_.Start(); }
    ~RunningFramework() {
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero());
    }
    RunningFramework(RunningFramework const&) = delete;
    RunningFramework& operator=(RunningFramework const&) = delete;

    BundleContext context() { return framework_.GetBundleContext(); }

private:
    Framework framework_ = FrameworkFactory().NewFramework();
};

std::vector<Bundle> install(BundleContext context, FreshBundles const& bundles) {
    std::vector<Bundle> installed;
    for (auto const& location : bundles.locations()) {
        installed.push_back(context.InstallBundles(location).at(0));
    }
    return installed;
}

// Only `use(context, bundles)` is timed, for a framework and bundles made just before.
template <typename Use>
void useFreshBundles(benchmark::State& state, Use const& use) {
    for (auto _ : state) {
        state.PauseTiming();
        FreshBundles const bundles;
        {
            RunningFramework framework;
            auto const context = framework.context();
            state.ResumeTiming();
            use(context, bundles);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kBundles);
}

void installBundles(benchmark::State& state) {
    useFreshBundles(state, [](BundleContext const& context, FreshBundles const& bundles) {
        benchmark::DoNotOptimize(install(context, bundles));
    });
}

void installAndStartBundles(benchmark::State& state) {
    useFreshBundles(state, [](BundleContext const& context, FreshBundles const& bundles) {
        for (auto& bundle : install(context, bundles)) {
            bundle.Start();
        }
    });
}

void startAndStopBundles(benchmark::State& state) {
    FreshBundles const bundles;
    RunningFramework framework;
    auto installed = install(framework.context(), bundles);
    for (auto _ : state) {
        for (auto& bundle : installed) {
            bundle.Start();
        }
        for (auto& bundle : installed) {
            bundle.Stop();
        }
    }
    state.SetItemsProcessed(state.iterations() * kBundles);
}

// A fixed number of iterations where each loads libraries that a provider may keep.
BENCHMARK(installBundles)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(installAndStartBundles)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(startAndStopBundles)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
