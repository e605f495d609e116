// A configuration map and a stream of events into its listener, which must say in the end what a plain model
// of its publishers says.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <fuzzer/FuzzedDataProvider.h>

#include "agent/spf/frameworklistener/Event.hpp"
#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "require.hpp"

namespace {

using agent::spf::frameworksetup::FrameworkSetupListener;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using namespace agent::spf::frameworklistener;

// An endpoint of the model: a letter for a string, a digit for an int, a blank for an empty Any.
using Endpoints = std::string;

Any toAny(char endpoint) {
    if (endpoint == ' ') {
        return Any();
    }
    return endpoint >= 'a' ? Any(std::string(1, endpoint)) : Any(endpoint - '0');
}

char toCharacter(Any const& any) {
    if (any.Empty()) {
        return ' ';
    }
    auto const* const text = cppmicroservices::any_cast<std::string>(&any);
    return text ? text->front() : static_cast<char>('0' + cppmicroservices::any_cast<int>(any));
}

std::vector<Any> toAnys(Endpoints const& endpoints) {
    std::vector<Any> anys;
    std::transform(endpoints.begin(), endpoints.end(), std::back_inserter(anys), toAny);
    return anys;
}

Endpoints toEndpoints(std::vector<Any> const& anys) {
    Endpoints endpoints;
    std::transform(anys.begin(), anys.end(), std::back_inserter(endpoints), toCharacter);
    return endpoints;
}

struct Publisher {
    Endpoints toBind;
    Endpoints toConnect;
    bool published = false;
    bool removed = false;
    std::string error;

    bool finished() const { return !error.empty() || (toBind.empty() && toConnect.empty() && published); }

    bool complete(Endpoints& endpoints, char endpoint) const {
        if (finished()) {
            return true;
        }
        auto const left =
            endpoint == ' ' ? endpoints.end() : std::remove(endpoints.begin(), endpoints.end(), endpoint);
        if (left == endpoints.end()) {
            return false;
        }
        endpoints.erase(left, endpoints.end());
        return finished();
    }

    bool completeServices() {
        if (finished() || published) {
            return finished();
        }
        published = true;
        return finished();
    }

    std::string outcome(bool reached) const { return error.empty() ? (reached ? "true" : "false") : error; }
};

// The model of a listener.
struct Model {
    std::uint32_t modificationCount;
    std::map<std::string, Publisher> publishers;
    std::set<std::string> completed;
    bool disabled = false;
    int completions = 0;

    void complete(std::string const& name) {
        completed.insert(name);
        completions += completed.size() == publishers.size() && !disabled;
    }
};

std::array<std::string, 5> const names = {"a", "b", "c", "", "unknown"};

char anyEndpoint(FuzzedDataProvider& input) {
    constexpr char const* alphabet = "abcdefghijklmnopqrstuvwxyz0123456789 ";
    return alphabet[input.ConsumeIntegralInRange<std::size_t>(0, 36)];
}

Endpoints someEndpoints(FuzzedDataProvider& input) {
    Endpoints endpoints(input.ConsumeIntegralInRange<std::size_t>(0, 40), ' ');
    for (auto& endpoint : endpoints) {
        endpoint = anyEndpoint(input);
    }
    return endpoints;
}

AnyMap emptyMap() {
    return AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

// A map, and the model of what a listener reads from it.
AnyMap makeConfiguration(FuzzedDataProvider& input, Model& model) {
    auto const count = input.PickValueInArray({0, 1, 2, 1000, INT32_MAX, INT32_MIN, -1});
    model.modificationCount = static_cast<std::uint32_t>(count);
    std::vector<Any> entries;
    for (auto left = input.ConsumeIntegralInRange(0, 4); left > 0; --left) {
        auto const id = names[input.ConsumeIntegralInRange<std::size_t>(0, 3)];
        auto const isRpc = input.ConsumeBool();
        Publisher publisher;
        publisher.toBind = someEndpoints(input);
        publisher.toConnect = someEndpoints(input);
        auto config = emptyMap();
        config["endpointsToBindTo"] = toAnys(publisher.toBind);
        config["endpointsToConnectTo"] = toAnys(publisher.toConnect);
        auto entry = emptyMap();
        entry["uniqueID"] = id;
        entry["name"] = std::string(isRpc ? "rpcservicepublisher" : "legacyservicepublisher");
        entry["config"] = config;
        entries.emplace_back(entry);
        model.publishers.emplace(id, isRpc ? publisher : Publisher()); // of equal ones the first counts
    }
    auto configuration = emptyMap();
    configuration["modificationCount"] = count;
    configuration["servicePublisherConfigurations"] = entries;
    return configuration;
}

std::uint32_t anyCount(FuzzedDataProvider& input, Model const& model) {
    return model.modificationCount + input.PickValueInArray<std::uint32_t>({0, 0, 0, 1, UINT32_MAX});
}

std::shared_ptr<Event> frameworkEvent(FuzzedDataProvider& input, Model& model) {
    auto const kind = input.ConsumeIntegralInRange<std::uint32_t>(0, 2);
    auto const name = input.PickValueInArray(names);
    auto const count = anyCount(input, model);
    auto const found = model.publishers.find(name);
    if (count >= model.modificationCount && found != model.publishers.end()) {
        if (kind == 0 && found->second.completeServices()) {
            model.complete(name);
        } else if (kind == 1) {
            found->second.removed = true;
            model.complete(name);
        }
    }
    return std::make_shared<FrameworkEvent>(static_cast<FrameworkEvent::Kind>(kind), name, count);
}

std::shared_ptr<Event> routerEvent(FuzzedDataProvider& input, Model& model) {
    auto const kind = input.ConsumeIntegralInRange<std::uint32_t>(0, 5);
    auto const name = input.PickValueInArray(names);
    auto const count = anyCount(input, model);
    auto const endpoint = anyEndpoint(input);
    auto const found = model.publishers.find(name);
    if (count >= model.modificationCount && found != model.publishers.end() && kind <= 3) {
        auto& publisher = found->second;
        if (publisher.complete(kind <= 1 ? publisher.toBind : publisher.toConnect, endpoint)) {
            model.complete(name);
        }
    }
    return std::make_shared<RouterEvent>(static_cast<RouterEvent::Kind>(kind), toAny(endpoint), name, count);
}

std::shared_ptr<Event> errorEvent(FuzzedDataProvider& input, Model& model) {
    auto const name = input.PickValueInArray(names);
    auto const count = anyCount(input, model);
    auto const text = "error " + std::to_string(input.ConsumeIntegral<std::uint8_t>());
    auto const found = model.publishers.find(name);
    if (count >= model.modificationCount && found != model.publishers.end()) {
        if (!found->second.finished()) {
            found->second.error = text;
        }
        model.complete(name);
    }
    return std::make_shared<FrameworkErrorEvent>(std::make_exception_ptr(std::runtime_error(text)), name,
                                                 count);
}

template <typename Wait>
std::string outcomeOf(Wait const& wait) {
    try {
        return wait() ? "true" : "false";
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

void compare(FrameworkSetupListener& listener, Model const& model, int completions) {
    constexpr std::chrono::milliseconds atOnce{0};
    require(completions == model.completions, "the number of completions");
    for (auto const& [id, publisher] : model.publishers) {
        auto const& name = id;
        auto const [toConnect, toBind] = listener.listOutstandingEndpoints(name);
        requireEqual(toEndpoints(toConnect), publisher.toConnect, "what is to connect");
        requireEqual(toEndpoints(toBind), publisher.toBind, "what is to bind");
        requireEqual(outcomeOf([&] { return listener.waitForAllEndpoints(atOnce, name); }),
                     publisher.outcome(publisher.toBind.empty() && publisher.toConnect.empty()),
                     "the endpoints");
        requireEqual(outcomeOf([&] { return listener.waitForAllServices(atOnce, name); }),
                     publisher.outcome(publisher.published), "the services");
        requireEqual(outcomeOf([&] { return listener.waitForAllServicesToBeUnpublished(atOnce, name); }),
                     publisher.outcome(publisher.removed), "the removal");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Model model{};
    auto completions = 0;
    auto const listener =
        std::make_shared<FrameworkSetupListener>([&] { ++completions; }, makeConfiguration(input, model));
    while (input.remaining_bytes() > 0) {
        switch (input.ConsumeIntegralInRange(0, 15)) {
        case 0:
            listener->disableUnregistering();
            model.disabled = true;
            break;
        case 1:
            listener->handleEvent(std::make_shared<Event>(static_cast<EventType>(3)));
            break;
        case 2:
        case 3:
            listener->handleEvent(errorEvent(input, model));
            break;
        case 4:
        case 5:
        case 6:
            listener->handleEvent(frameworkEvent(input, model));
            break;
        default:
            listener->handleEvent(routerEvent(input, model));
        }
    }
    compare(*listener, model, completions);
    return 0;
}
