// The encoding of a configuration, literally.
#include <string>
#include <vector>

#include <boost/tuple/tuple.hpp>

#include "floor/convertTree.hpp"
#include "floor/encode.hpp"

namespace spf::bench {

using namespace agent::spf::frameworksetup;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

constexpr auto kind = AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS;

AnyMap encodeMapping(std::string const& serviceID, std::string const& publisherID) {
    return AnyMap(kind, {{"serviceID", serviceID}, {"publisherID", publisherID}});
}

AnyMap encodeInterface(SPFServiceInterfaceConfiguration const& interface) {
    AnyMap const version(kind, {{"major", 1}});
    AnyMap const properties = convertLiterally(interface.requestedProperties);
    return AnyMap(kind, {{"name", interface.name},
                         {"uniqueID", interface.uniqueID},
                         {"version", version},
                         {"requestedProperties", properties}});
}

AnyMap encodePublisher(SPFServicePublisherConfiguration const& publisher) {
    AnyMap const config(kind, {{"endpointsToConnectTo", publisher.endpointsToConnectTo},
                               {"endpointsToBindTo", publisher.endpointsToBindTo},
                               {"importFilter", publisher.importFilter},
                               {"exportFilter", publisher.exportFilter}});
    std::string const factoryPID = publisher.name == "legacyservicepublisher"
                                       ? "qo.spf.legacyservicepublisher"
                                       : "qo.spf.rpcservicepublisher";
    return AnyMap(kind, {{"name", publisher.name},
                         {"uniqueID", publisher.uniqueID},
                         {"factoryPID", factoryPID},
                         {"config", config}});
}

} // namespace

AnyMap encodeLiterally(Model const& model, int modificationCount) {
    std::vector<Any> publishers;
    for (auto const& publisher : model.publishers) {
        publishers.push_back(Any(encodePublisher(publisher)));
    }
    std::vector<Any> interfaces;
    std::vector<Any> mappings;
    for (auto const& entry : model.interfaces) {
        interfaces.push_back(Any(encodeInterface(entry.configuration)));
        if (entry.mappedToAllServicePublishers) {
            for (auto const& publisher : model.publishers) {
                if (model.mappings.find(boost::make_tuple(entry.configuration.uniqueID,
                                                          publisher.uniqueID)) == model.mappings.end()) {
                    mappings.push_back(Any(encodeMapping(entry.configuration.uniqueID, publisher.uniqueID)));
                }
            }
        }
    }
    for (auto const& mapping : model.mappings) {
        mappings.push_back(Any(encodeMapping(mapping.serviceID, mapping.publisherID)));
    }
    return AnyMap(kind, {{"serviceConfigurations", interfaces},
                         {"servicePublisherConfigurations", publishers},
                         {"servicePublisherMappings", mappings},
                         {"modificationCount", modificationCount}});
}

} // namespace spf::bench
