// What a builder holds, as texts; and the records that the tests of the model make.
#ifndef TESTS_UNIT_MODEL_BUILDER_CONTENT_HPP
#define TESTS_UNIT_MODEL_BUILDER_CONTENT_HPP

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "model/SPFConfigurationBuilderImpl.hpp"

namespace agent::spf::frameworksetup::test {

// Ascending, as "<unique ID> <name>", and " *" when the interface is mapped to all publishers.
inline std::vector<std::string> interfacesOf(SPFConfigurationBuilderImpl const& content) {
    std::vector<std::string> result;
    for (auto const& entry : content.serviceInterfaces) {
        result.push_back(entry.configuration.uniqueID + " " + entry.configuration.name +
                         (entry.mappedToAllServicePublishers ? " *" : ""));
    }
    std::sort(result.begin(), result.end());
    return result;
}

// Ascending, as "<unique ID> <name>".
inline std::vector<std::string> publishersOf(SPFConfigurationBuilderImpl const& content) {
    std::vector<std::string> result;
    for (auto const& publisher : content.servicePublishers) {
        result.push_back(publisher.uniqueID + " " + publisher.name);
    }
    std::sort(result.begin(), result.end());
    return result;
}

// In the order of the container, as "(<service ID>, <publisher ID>)".
inline std::vector<std::string> mappingsOf(SPFConfigurationBuilderImpl const& content) {
    std::vector<std::string> result;
    for (auto const& mapping : content.serviceMappings) {
        result.push_back("(" + mapping.serviceID + ", " + mapping.publisherID + ")");
    }
    return result;
}

inline boost::property_tree::ptree properties(std::string const& value) {
    boost::property_tree::ptree tree;
    tree.put("property", value);
    return tree;
}

inline SPFServiceInterfaceConfiguration interfaceNamed(std::string uniqueID, std::string name = {}) {
    return {std::move(uniqueID), std::move(name), {}};
}

inline SPFServicePublisherConfiguration publisherNamed(std::string uniqueID, std::string name = {}) {
    return {std::move(uniqueID), std::move(name), {}, {}, {}, {}};
}

} // namespace agent::spf::frameworksetup::test

#endif
