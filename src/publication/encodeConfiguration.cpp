// The property map as which a configuration is published, entry by entry.
#include "publication/encodeConfiguration.hpp"

#include <string>
#include <utility>
#include <vector>

#include <boost/tuple/tuple.hpp>

#include "configurationKeys.hpp"
#include "model/propertyTreeToAnyMap.hpp"
#include "publication/MapTemplate.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

// The keys of each kind of map, made once.
struct Templates {
    MapTemplate<1> version{{key::major}};
    MapTemplate<4> interface {
        { key::name, key::uniqueID, key::version, key::requestedProperties }
    };
    MapTemplate<4> endpoints{
        {key::endpointsToConnectTo, key::endpointsToBindTo, key::importFilter, key::exportFilter}};
    MapTemplate<4> publisher{{key::name, key::uniqueID, key::factoryPID, key::config}};
    MapTemplate<2> mapping{{key::serviceID, key::publisherID}};
    MapTemplate<4> configuration{{key::serviceConfigurations, key::servicePublisherConfigurations,
                                  key::servicePublisherMappings, key::modificationCount}};
};

AnyMap encodeInterface(Templates const& templates, SPFServiceInterfaceConfiguration const& interface) {
    constexpr int majorVersion = 1; // interfaces carry no version of their own
    return templates.interface.with(interface.name, interface.uniqueID, templates.version.with(majorVersion),
                                    propertyTreeToAnyMap(interface.requestedProperties));
}

AnyMap encodePublisher(Templates const& templates, SPFServicePublisherConfiguration const& publisher) {
    auto const* const factoryPID =
        publisher.name == legacyPublisherName ? legacyPublisherFactoryPID : rpcPublisherFactoryPID;
    return templates.publisher.with(publisher.name, publisher.uniqueID, std::string(factoryPID),
                                    templates.endpoints.with(publisher.endpointsToConnectTo,
                                                             publisher.endpointsToBindTo,
                                                             publisher.importFilter, publisher.exportFilter));
}

// Maps an interface to every publisher to which it is not mapped explicitly.
void appendImplicitMappings(std::vector<Any>& encoded, Templates const& templates,
                            std::string const& serviceID, ServicePublishers const& publishers,
                            ServiceMappings const& explicitMappings) {
    auto const ofInterface = explicitMappings.equal_range(serviceID);
    auto const hasExplicitMappings = ofInterface.first != ofInterface.second;
    auto const isMappedExplicitly = [&](std::string const& publisherID) {
        return hasExplicitMappings &&
               explicitMappings.find(boost::make_tuple(boost::cref(serviceID), boost::cref(publisherID))) !=
                   explicitMappings.end();
    };
    for (auto const& publisher : publishers) {
        if (!isMappedExplicitly(publisher.uniqueID)) {
            encoded.emplace_back(templates.mapping.with(serviceID, publisher.uniqueID));
        }
    }
}

} // namespace

AnyMap encodeConfiguration(ServiceInterfaces const& interfaces, ServicePublishers const& publishers,
                           ServiceMappings const& mappings, std::int32_t modificationCount) {
    static Templates const templates;
    std::vector<Any> encodedPublishers;
    encodedPublishers.reserve(publishers.size());
    for (auto const& publisher : publishers) {
        encodedPublishers.emplace_back(encodePublisher(templates, publisher));
    }

    std::vector<Any> encodedInterfaces;
    encodedInterfaces.reserve(interfaces.size());
    std::vector<Any> encodedMappings;
    encodedMappings.reserve(interfaces.get<1>().count(true) * publishers.size() + mappings.size());
    for (auto const& entry : interfaces) {
        encodedInterfaces.emplace_back(encodeInterface(templates, entry.configuration));
        if (entry.mappedToAllServicePublishers) {
            appendImplicitMappings(encodedMappings, templates, entry.configuration.uniqueID, publishers,
                                   mappings);
        }
    }
    for (auto const& mapping : mappings) {
        encodedMappings.emplace_back(templates.mapping.with(mapping.serviceID, mapping.publisherID));
    }

    return templates.configuration.with(std::move(encodedInterfaces), std::move(encodedPublishers),
                                        std::move(encodedMappings), static_cast<int>(modificationCount));
}

} // namespace agent::spf::frameworksetup
