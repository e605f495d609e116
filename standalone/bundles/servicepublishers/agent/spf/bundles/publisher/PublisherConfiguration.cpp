// Reading of publisher configurations.
#include "agent/spf/bundles/publisher/PublisherConfiguration.hpp"

#include <set>
#include <stdexcept>
#include <string_view>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/publisher/OfferedInterface.hpp"

namespace agent::spf::bundles::publisher {

namespace {

using cppmicroservices::AnyMap;

std::vector<std::string> readEndpoints(AnyMap const& config, char const* key, std::string const& where) {
    std::vector<std::string> endpoints;
    std::set<std::string_view> known;
    for (auto const& element : listAt(config, key, where)) {
        if (element.Type() != typeid(std::string)) {
            throw std::runtime_error(where + ": endpoint " + element.ToString() + " in \"" + key +
                                     "\" is not a std::string");
        }
        auto const& endpoint = cppmicroservices::ref_any_cast<std::string>(element);
        if (known.insert(endpoint).second) {
            endpoints.push_back(endpoint);
        }
    }
    return endpoints;
}

} // namespace

PublisherConfiguration readPublisherConfiguration(AnyMap const& properties) {
    PublisherConfiguration result;
    result.uniqueID = stringAt(properties, keys::uniqueID, "publisher configuration");
    auto const where = "publisher \"" + result.uniqueID + "\"";
    result.modificationCount = static_cast<std::uint32_t>(intAt(properties, keys::modificationCount, where));
    auto const& config = mapAt(properties, keys::config, where);
    result.endpointsToBindTo = readEndpoints(config, keys::endpointsToBindTo, where);
    result.endpointsToConnectTo = readEndpoints(config, keys::endpointsToConnectTo, where);
    auto const readFilter = [&](char const* key) {
        return parseFilter(stringAt(config, key, where), where + ": " + key);
    };
    result.importFilter = readFilter(keys::importFilter);
    result.exportFilter = readFilter(keys::exportFilter);
    for (auto const& element : listAt(properties, keys::serviceConfigurations, where)) {
        result.interfaces.push_back(readInterface(asMap(element, where + ": an interface"), where));
    }
    return result;
}

} // namespace agent::spf::bundles::publisher
