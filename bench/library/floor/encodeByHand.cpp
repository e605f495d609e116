// The encoding of a configuration by hand.
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/tuple/tuple.hpp>

#include "floor/convertTree.hpp"
#include "floor/encode.hpp"

namespace spf::bench {

using namespace agent::spf::frameworksetup;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using StandardMap = AnyMap::unordered_any_cimap;

// Where walking along an AnyMap allocates nothing, that is what is copied; elsewhere it takes longer than the
// way round by a standard map.
using Map = std::conditional_t<std::is_trivially_copyable_v<AnyMap::iterator>, AnyMap, StandardMap>;

namespace {

// Takes keys in the order of iteration. A high load factor spares the copies a table of buckets.
[[maybe_unused]] void addKeys(StandardMap& map, std::initializer_list<char const*> keys) {
    map.max_load_factor(100);
    for (auto key = std::rbegin(keys); key != std::rend(keys); ++key) {
        map.try_emplace(*key);
    }
}

[[maybe_unused]] void addKeys(AnyMap& map, std::initializer_list<char const*> keys) {
    for (auto const* key : keys) {
        map[key];
    }
}

// A map with these keys, in this order, and without values, to be copied.
Map makePrototype(std::initializer_list<char const*> keys) {
    Map prototype;
    addKeys(prototype, keys);
    auto entry = prototype.begin();
    for (auto const* key : keys) {
        if (entry->first != key) {
            throw std::logic_error("the values would go to the wrong keys");
        }
        ++entry;
    }
    return prototype;
}

AnyMap encodeMapping(std::string const& serviceID, std::string const& publisherID) {
    static Map const prototype = makePrototype({"serviceID", "publisherID"});
    Map map(prototype);
    auto entry = map.begin();
    entry->second = serviceID;
    (++entry)->second = publisherID;
    return AnyMap(std::move(map));
}

AnyMap encodeVersion() {
    static Map const prototype = makePrototype({"major"});
    Map map(prototype);
    map.begin()->second = 1;
    return AnyMap(std::move(map));
}

AnyMap encodeInterface(SPFServiceInterfaceConfiguration const& interface) {
    static Map const prototype = makePrototype({"name", "uniqueID", "version", "requestedProperties"});
    Map map(prototype);
    auto entry = map.begin();
    entry->second = interface.name;
    (++entry)->second = interface.uniqueID;
    (++entry)->second = encodeVersion();
    (++entry)->second = convertByHand(interface.requestedProperties);
    return AnyMap(std::move(map));
}

AnyMap encodeEndpoints(SPFServicePublisherConfiguration const& publisher) {
    static Map const prototype =
        makePrototype({"endpointsToConnectTo", "endpointsToBindTo", "importFilter", "exportFilter"});
    Map map(prototype);
    auto entry = map.begin();
    entry->second = publisher.endpointsToConnectTo;
    (++entry)->second = publisher.endpointsToBindTo;
    (++entry)->second = publisher.importFilter;
    (++entry)->second = publisher.exportFilter;
    return AnyMap(std::move(map));
}

AnyMap encodePublisher(SPFServicePublisherConfiguration const& publisher) {
    static Map const prototype = makePrototype({"name", "uniqueID", "factoryPID", "config"});
    Map map(prototype);
    auto entry = map.begin();
    entry->second = publisher.name;
    (++entry)->second = publisher.uniqueID;
    (++entry)->second =
        std::string(publisher.name == "legacyservicepublisher" ? "qo.spf.legacyservicepublisher"
                                                               : "qo.spf.rpcservicepublisher");
    (++entry)->second = encodeEndpoints(publisher);
    return AnyMap(std::move(map));
}

} // namespace

AnyMap encodeByHand(Model const& model, int modificationCount) {
    static Map const prototype = makePrototype({"serviceConfigurations", "servicePublisherConfigurations",
                                                "servicePublisherMappings", "modificationCount"});
    std::vector<Any> publishers;
    publishers.reserve(model.publishers.size());
    for (auto const& publisher : model.publishers) {
        publishers.emplace_back(encodePublisher(publisher));
    }
    std::vector<Any> interfaces;
    interfaces.reserve(model.interfaces.size());
    std::vector<Any> mappings;
    mappings.reserve(model.interfaces.get<1>().count(true) * publishers.size() + model.mappings.size());
    for (auto const& entry : model.interfaces) {
        auto const& serviceID = entry.configuration.uniqueID;
        interfaces.emplace_back(encodeInterface(entry.configuration));
        if (entry.mappedToAllServicePublishers) {
            for (auto const& publisher : model.publishers) {
                if (model.mappings.find(boost::make_tuple(
                        boost::cref(serviceID), boost::cref(publisher.uniqueID))) == model.mappings.end()) {
                    mappings.emplace_back(encodeMapping(serviceID, publisher.uniqueID));
                }
            }
        }
    }
    for (auto const& mapping : model.mappings) {
        mappings.emplace_back(encodeMapping(mapping.serviceID, mapping.publisherID));
    }
    Map map(prototype);
    auto entry = map.begin();
    entry->second = std::move(interfaces);
    (++entry)->second = std::move(publishers);
    (++entry)->second = std::move(mappings);
    (++entry)->second = int(modificationCount);
    return AnyMap(std::move(map));
}

} // namespace spf::bench
