// The client's builder: content operations and build().
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

#include <utility>

#include "model/SPFConfigurationBuilderImpl.hpp"
#include "model/SPFConfigurationImpl.hpp"

namespace agent::spf::frameworksetup {

namespace {

using FlagRule = SPFConfigurationBuilderImpl::FlagRule;
using cppmicroservices::Any;

std::unique_ptr<SPFConfigurationBuilderImpl> makeEmptyImplementation() {
    return std::make_unique<SPFConfigurationBuilderImpl>(std::string());
}

// The record with these members. The tree is swapped in, for it has no move constructor.
SPFServiceInterfaceConfiguration makeRecord(std::string uniqueID, std::string name,
                                            boost::property_tree::ptree& requestedProperties) {
    SPFServiceInterfaceConfiguration record{std::move(uniqueID), std::move(name), {}};
    record.requestedProperties.swap(requestedProperties);
    return record;
}

std::vector<Any> toAnyVector(std::set<std::string> const& endpoints) {
    return std::vector<Any>(endpoints.begin(),
                            endpoints.end()); // in braces the iterators would be the elements
}

} // namespace

SPFConfigurationBuilder::SPFConfigurationBuilder(std::string name)
    : implementation(std::make_unique<SPFConfigurationBuilderImpl>(std::move(name))) {}

SPFConfigurationBuilder::SPFConfigurationBuilder(std::unique_ptr<SPFConfigurationBuilderImpl> content)
    : implementation(content ? std::move(content) : makeEmptyImplementation()) {}

SPFConfigurationBuilder::SPFConfigurationBuilder(SPFConfigurationBuilder&& other)
    : implementation(std::exchange(other.implementation, makeEmptyImplementation())) {}

SPFConfigurationBuilder& SPFConfigurationBuilder::operator=(SPFConfigurationBuilder&& other) noexcept {
    if (this != &other) {
        // The other gets what this one held, made as new: nothing need be allocated.
        implementation.swap(other.implementation);
        other.implementation->clear();
    }
    return *this;
}

SPFConfigurationBuilder::~SPFConfigurationBuilder() = default;

SPFConfigurationBuilder&
SPFConfigurationBuilder::addServiceInterface(SPFServiceInterfaceConfiguration configuration) {
    implementation->putInterface(std::move(configuration), FlagRule::KeepOrClear);
    return *this;
}

SPFConfigurationBuilder&
SPFConfigurationBuilder::addServiceInterface(std::string uniqueID, std::string name,
                                             boost::property_tree::ptree requestedProperties) {
    return addServiceInterface(makeRecord(std::move(uniqueID), std::move(name), requestedProperties));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToServicePublisher(
    std::string const& publisherID, SPFServiceInterfaceConfiguration configuration) {
    implementation->putMapping(configuration.uniqueID, publisherID);
    implementation->putInterface(std::move(configuration), FlagRule::KeepOrClear);
    return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToServicePublisher(
    std::string const& publisherID, std::string uniqueID, std::string name,
    boost::property_tree::ptree requestedProperties) {
    return addServiceInterfaceToServicePublisher(
        publisherID, makeRecord(std::move(uniqueID), std::move(name), requestedProperties));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToAllServicePublishers(
    SPFServiceInterfaceConfiguration configuration) {
    implementation->putInterface(std::move(configuration), FlagRule::Set);
    return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToAllServicePublishers(
    std::string uniqueID, std::string name, boost::property_tree::ptree requestedProperties) {
    return addServiceInterfaceToAllServicePublishers(
        makeRecord(std::move(uniqueID), std::move(name), requestedProperties));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::removeServiceInterface(std::string const& uniqueID) {
    implementation->eraseInterface(uniqueID);
    implementation->eraseMappingsOfInterface(uniqueID);
    return *this;
}

SPFConfigurationBuilder&
SPFConfigurationBuilder::addServicePublisher(SPFServicePublisherConfiguration configuration) {
    implementation->putPublisher(std::move(configuration));
    return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServicePublisher(
    std::string uniqueID, std::string name, std::set<std::string> endpointsToConnectTo,
    std::set<std::string> endpointsToBindTo, std::string importFilter, std::string exportFilter) {
    return addServicePublisherAny(std::move(uniqueID), std::move(name), toAnyVector(endpointsToConnectTo),
                                  toAnyVector(endpointsToBindTo), std::move(importFilter),
                                  std::move(exportFilter));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServicePublisherAny(
    std::string uniqueID, std::string name, std::vector<Any> endpointsToConnectTo,
    std::vector<Any> endpointsToBindTo, std::string importFilter, std::string exportFilter) {
    return addServicePublisher({std::move(uniqueID), std::move(name), std::move(endpointsToConnectTo),
                                std::move(endpointsToBindTo), std::move(importFilter),
                                std::move(exportFilter)});
}

SPFConfigurationBuilder& SPFConfigurationBuilder::removeServicePublisher(std::string const& uniqueID) {
    implementation->erasePublisher(uniqueID);
    implementation->eraseMappingsOfPublisher(uniqueID);
    return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceMapping(std::string const& serviceID,
                                                                    std::string const& publisherID) {
    implementation->putMapping(serviceID, publisherID);
    return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::removeServiceMapping(std::string const& serviceID,
                                                                       std::string const& publisherID) {
    implementation->eraseMapping(serviceID, publisherID);
    return *this;
}

SPFConfigurationBuilder&
SPFConfigurationBuilder::undoMappingOfServiceInterfaceToAllServicePublishers(std::string const& uniqueID) {
    implementation->clearFlag(uniqueID);
    return *this;
}

SPFConfiguration SPFConfigurationBuilder::build() {
    implementation->checkMappings();
    auto published = std::make_unique<SPFConfigurationImpl>(
        std::move(implementation->name), implementation->modificationCount,
        std::move(implementation->serviceInterfaces), std::move(implementation->servicePublishers),
        std::move(implementation->serviceMappings));
    implementation->holdsPublishedConfiguration = false;
    return SPFConfiguration(std::move(published));
}

} // namespace agent::spf::frameworksetup
