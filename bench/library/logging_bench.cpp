// What a log site costs while nobody wants its records.
#include <benchmark/benchmark.h>

#include "agent/host/DiagnosticLogger.hpp"
#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "logging/log.hpp"

namespace {

using agent::host::Severity;
using agent::spf::frameworksetup::getLogger;

void site(benchmark::State& state) {
    for (auto _ : state) {
        agent::spf::frameworksetup::log(Severity::Progress,
                                        [](std::ostream& stream) { stream << "never written"; });
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(site)->Name("disabled_log/library");

// One load of the mask, for which the host's interface has a function, and one test.
void test(benchmark::State& state) {
    auto const& logger = getLogger();
    for (auto _ : state) {
        if ((logger.enabledSeverities() & static_cast<std::uint32_t>(Severity::Progress)) != 0) {
            state.SkipWithError("records are wanted");
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(test)->Name("disabled_log/floor");

} // namespace

BENCHMARK_MAIN();
