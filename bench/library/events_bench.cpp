// What an event costs: finding the endpoint among those outstanding, and the whole way through the listener.
#include <algorithm>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "agent/spf/frameworklistener/Event.hpp"
#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "floor/encode.hpp"
#include "support/exampleModel.hpp"
#include "support/measure.hpp"
#include "tracking/OutstandingEndpoints.hpp"

namespace {

using namespace spf::bench;
using namespace agent::spf::frameworksetup;
using agent::spf::frameworklistener::Event;
using agent::spf::frameworklistener::RouterEvent;
using cppmicroservices::Any;

constexpr std::size_t eventsPerIteration = 500; // at least
// An event comes with an endpoint that was made just before. So many are made at a time, outside the measured
// time.
constexpr std::size_t madeAtATime = 500;

enum class Order { Listed, Random };

std::vector<Any> makeEndpoints(std::size_t count) {
    std::vector<Any> endpoints;
    endpoints.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        endpoints.emplace_back(makeID("bind", i));
    }
    return endpoints;
}

// In which order the endpoints are reported.
std::vector<std::size_t> makeOrder(std::size_t count, Order order) {
    std::vector<std::size_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), std::size_t{0});
    if (order == Order::Random) {
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    }
    return numbers;
}

// The list as it is usually kept: searched from the front, what equals is erased.
class LiteralEndpoints {
public:
    explicit LiteralEndpoints(std::vector<Any> listed)
        : endpoints(std::move(listed)) {}
    bool remove(Any const& endpoint) {
        auto const left = std::remove_if(endpoints.begin(), endpoints.end(),
                                         [&](Any const& each) { return each == endpoint; });
        auto const removed = left != endpoints.end();
        endpoints.erase(left, endpoints.end());
        return removed;
    }

private:
    std::vector<Any> endpoints;
};

// The shortest way to find endpoints that are known to be strings and all different: the standard library's
// hash table over their texts.
class HashedEndpoints {
public:
    explicit HashedEndpoints(std::vector<Any> listed)
        : endpoints(std::move(listed)) {
        texts.reserve(endpoints.size());
        for (auto const& each : endpoints) {
            texts.insert(cppmicroservices::ref_any_cast<std::string>(each));
        }
    }
    bool remove(Any const& endpoint) {
        return texts.erase(cppmicroservices::ref_any_cast<std::string>(endpoint)) != 0;
    }

private:
    std::vector<Any> endpoints;
    std::unordered_set<std::string_view> texts;
};

std::size_t listsPerIteration(std::size_t count) {
    return std::max<std::size_t>(1, eventsPerIteration / count);
}

void setEvents(benchmark::State& state, std::size_t perIteration) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(perIteration));
}

// Reports every endpoint to each of the receivers; only `report(receiver, made)` is timed, for what
// `make(number)` made just before.
template <typename Receivers, typename Make, typename Report>
void reportAll(benchmark::State& state, Receivers& receivers, std::vector<std::size_t> const& order,
               Make const& make, Report const& report) {
    std::vector<decltype(make(0))> made;
    for (std::size_t begin = 0; begin < order.size(); begin += madeAtATime) {
        auto const end = std::min(order.size(), begin + madeAtATime);
        made.clear();
        for (auto i = begin; i < end; ++i) {
            made.push_back(make(order[i]));
        }
        state.ResumeTiming();
        for (auto& receiver : receivers) {
            for (auto const& each : made) {
                report(*receiver, each);
            }
        }
        state.PauseTiming();
    }
}

// Removes every endpoint of a list, one by one; the time per endpoint.
template <typename Endpoints>
void removeAll(benchmark::State& state, std::size_t count, Order order) {
    auto const listed = makeEndpoints(count);
    auto const numbers = makeOrder(count, order);
    auto const lists = listsPerIteration(count);
    std::vector<std::unique_ptr<Endpoints>> outstanding(lists);
    std::size_t missed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (auto& each : outstanding) {
            each = std::make_unique<Endpoints>(listed);
        }
        reportAll(
            state, outstanding, numbers, [](std::size_t number) { return Any(makeID("bind", number)); },
            [&](Endpoints& endpoints, Any const& report) { missed += endpoints.remove(report) ? 0 : 1; });
        state.ResumeTiming();
    }
    setEvents(state, lists * count);
    if (missed != 0) {
        state.SkipWithError("an endpoint was not outstanding");
    }
}

// Makes the tracker's list of outstanding endpoints from a list that it takes over.
void makeIndex(benchmark::State& state, std::size_t count) {
    auto const listed = makeEndpoints(count);
    auto const lists = listsPerIteration(count);
    std::vector<std::vector<Any>> given(lists);
    std::vector<std::unique_ptr<OutstandingEndpoints>> made(lists);
    for (auto _ : state) {
        state.PauseTiming();
        for (std::size_t i = 0; i < lists; ++i) {
            made[i].reset();
            given[i] = listed;
        }
        state.ResumeTiming();
        for (std::size_t i = 0; i < lists; ++i) {
            made[i] = std::make_unique<OutstandingEndpoints>(std::move(given[i]));
        }
    }
    setEvents(state, lists * count);
    state.counters["bytes_per_endpoint"] = [&] {
        auto copy = listed;
        AllocationRecorder const recorder;
        OutstandingEndpoints const indexed(std::move(copy));
        return static_cast<double>(recorder.bytesKept()) / static_cast<double>(count);
    }();
}

cppmicroservices::AnyMap configurationWith(std::vector<Any> const& endpoints, std::size_t publishers) {
    Model model({0, 0, 0, Mapped::ByFlag});
    for (std::size_t i = 0; i < publishers; ++i) {
        auto publisher = makePublisher(i, 0);
        publisher.endpointsToBindTo = endpoints;
        model.publishers.insert(std::move(publisher));
    }
    return encodeByHand(model, 1);
}

std::shared_ptr<Event> boundEvent(Any const& endpoint, std::size_t publisher) {
    return std::make_shared<RouterEvent>(RouterEvent::Kind::Bound, endpoint, makeID("publ", publisher), 1U);
}

// The whole way of an event: the listener finds the publisher, its tracker the endpoint.
void handleEvents(benchmark::State& state, std::size_t count, Order order) {
    auto const configuration = configurationWith(makeEndpoints(count), 1);
    auto const numbers = makeOrder(count, order);
    auto const lists = listsPerIteration(count);
    std::vector<std::shared_ptr<FrameworkSetupListener>> listeners(lists);
    for (auto _ : state) {
        state.PauseTiming();
        for (auto& each : listeners) {
            each = std::make_shared<FrameworkSetupListener>([] {}, configuration);
        }
        reportAll(
            state, listeners, numbers,
            [](std::size_t number) { return boundEvent(Any(makeID("bind", number)), 0); },
            [](FrameworkSetupListener& listener, std::shared_ptr<Event> const& event) {
                listener.handleEvent(event);
            });
        state.ResumeTiming();
    }
    setEvents(state, lists * count);
    if (!listeners.front()->listOutstandingEndpoints(makeID("publ", 0)).second.empty()) {
        state.SkipWithError("an endpoint is still outstanding");
    }
}

// What a publisher's events cannot do without: its name leads to its lock and its index.
struct BarePublisher {
    explicit BarePublisher(std::vector<Any> const& listed)
        : endpoints(listed) {}
    std::mutex mutex; // guards `endpoints`
    OutstandingEndpoints endpoints;
};

class BareListener {
public:
    BareListener(std::size_t publisherCount, std::vector<Any> const& listed) {
        publishers.reserve(publisherCount);
        for (std::size_t i = 0; i < publisherCount; ++i) {
            publishers.try_emplace(makeID("publ", i), listed);
        }
    }
    // An event is handed over as a shared pointer of the callee's own.
    bool handleEvent(std::shared_ptr<Event> event) {
        auto const& reported = static_cast<RouterEvent const&>(*event);
        auto& publisher = publishers.at(reported.name);
        std::lock_guard<std::mutex> const lock(publisher.mutex);
        return publisher.endpoints.remove(reported.endpoint);
    }

private:
    std::unordered_map<std::string, BarePublisher> publishers;
};

// The same with no more than the index, its lock and the look-up of the publisher.
void handleEventsBarely(benchmark::State& state, std::size_t count, Order order) {
    auto const listed = makeEndpoints(count);
    auto const numbers = makeOrder(count, order);
    auto const lists = listsPerIteration(count);
    std::vector<std::shared_ptr<BareListener>> listeners(lists);
    std::size_t missed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (auto& each : listeners) {
            each = std::make_shared<BareListener>(1, listed);
        }
        reportAll(
            state, listeners, numbers,
            [](std::size_t number) { return boundEvent(Any(makeID("bind", number)), 0); },
            [&](BareListener& listener, std::shared_ptr<Event> const& event) {
                missed += listener.handleEvent(event) ? 0 : 1;
            });
        state.ResumeTiming();
    }
    setEvents(state, lists * count);
    if (missed != 0) {
        state.SkipWithError("an endpoint was not outstanding");
    }
}

// Events about endpoints that are not outstanding: all of the way but the removal. They are as many whatever
// the number of publishers, so that it is not the events that leave the caches as it grows.
template <typename Listener>
void dispatch(benchmark::State& state, Listener& listener, std::size_t publishers) {
    constexpr std::size_t eventCount = 1000;
    std::vector<std::shared_ptr<Event>> events;
    for (std::size_t i = 0; i < eventCount; ++i) {
        events.push_back(boundEvent(Any(makeID("else", i)), i % publishers));
    }
    std::shuffle(events.begin(), events.end(), std::mt19937(1));
    for (auto _ : state) {
        for (auto const& event : events) {
            listener.handleEvent(event);
        }
    }
    setEvents(state, eventCount);
}

void dispatchWithLibrary(benchmark::State& state, std::size_t publishers) {
    auto const listener =
        std::make_shared<FrameworkSetupListener>([] {}, configurationWith(makeEndpoints(1), publishers));
    dispatch(state, *listener, publishers);
}

void dispatchBarely(benchmark::State& state, std::size_t publishers) {
    BareListener listener(publishers, makeEndpoints(1));
    dispatch(state, listener, publishers);
}

template <typename Run>
void add(std::string const& name, Run const& run) {
    benchmark::RegisterBenchmark(name.c_str(), run);
}

void registerAll() {
    for (auto const order : {Order::Listed, Order::Random}) {
        std::string const suffix = order == Order::Listed ? "/listed" : "/random";
        for (std::size_t const count : {1U, 2U, 5U, 10U, 100U, 1000U, 10000U, 100000U}) {
            auto const name = std::to_string(count) + suffix;
            add("remove/" + name + "/library", [count, order](benchmark::State& state) {
                removeAll<OutstandingEndpoints>(state, count, order);
            });
            add("handle_event/" + name + "/library",
                [count, order](benchmark::State& state) { handleEvents(state, count, order); });
            add("handle_event/" + name + "/floor",
                [count, order](benchmark::State& state) { handleEventsBarely(state, count, order); });
            add("remove/" + name + "/floor",
                [count, order](benchmark::State& state) { removeAll<HashedEndpoints>(state, count, order); });
            if (count <= 1000) { // beyond that it takes seconds
                add("remove/" + name + "/literal", [count, order](benchmark::State& state) {
                    removeAll<LiteralEndpoints>(state, count, order);
                });
            }
        }
    }
    for (std::size_t const count : {1U, 10U, 100U, 10000U, 100000U}) {
        add("make_index/" + std::to_string(count) + "/library",
            [count](benchmark::State& state) { makeIndex(state, count); });
    }
    for (std::size_t const publishers : {1U, 10U, 100U, 1000U}) {
        add("dispatch/" + std::to_string(publishers) + "/library",
            [publishers](benchmark::State& state) { dispatchWithLibrary(state, publishers); });
        add("dispatch/" + std::to_string(publishers) + "/floor",
            [publishers](benchmark::State& state) { dispatchBarely(state, publishers); });
    }
}

} // namespace

int main(int argc, char** argv) {
    // A process that has had a second thread counts references atomically, as every host process does.
    std::thread([] {}).join();
    benchmark::Initialize(&argc, argv);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
