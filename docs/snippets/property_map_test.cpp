// What docs/property-map.md shows: a configuration as ConfigurationAdmin has it after build().
#include <string>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/cm/Configuration.hpp>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <gtest/gtest.h>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

namespace {

using agent::spf::frameworksetup::SPFConfigurationBuilder;
using boost::property_tree::ptree;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

class PropertyMap : public testing::Test {
protected:
    void SetUp() override { agent::host::standalone::setInstallationRoot(SPF_INSTALLATION_ROOT); }
};

AnyMap publishedMap(std::string const& configurationID) {
    using cppmicroservices::service::cm::ConfigurationAdmin;
    auto context = agent::host::getFramework()->GetBundleContext();
    auto const admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
    return admin->GetFactoryConfiguration("qo.spf.framework", configurationID)->GetProperties();
}

TEST_F(PropertyMap, HoldsTheConfiguration) {
    // [configuration]
    SPFConfigurationBuilder builder("kitchen");
    builder.addServicePublisher("rpc", "rpcservicepublisher", {}, {"unix:kitchen.sock"}, "", "")
        .addServiceInterfaceToAllServicePublishers("thermometer", "example.Thermometer", {});
    auto const configuration = builder.build();

    AnyMap const map = publishedMap("kitchen");
    EXPECT_EQ(any_cast<int>(map.at("modificationCount")), 1);

    auto const interface =
        any_cast<AnyMap>(any_cast<std::vector<Any>>(map.at("serviceConfigurations")).front());
    EXPECT_EQ(interface.at("name"), std::string("example.Thermometer"));
    EXPECT_EQ(any_cast<AnyMap>(interface.at("version")).at("major"), 1);

    auto const publisher =
        any_cast<AnyMap>(any_cast<std::vector<Any>>(map.at("servicePublisherConfigurations")).front());
    EXPECT_EQ(publisher.at("factoryPID"), std::string("qo.spf.rpcservicepublisher"));
    auto const config = any_cast<AnyMap>(publisher.at("config"));
    EXPECT_EQ(any_cast<std::vector<Any>>(config.at("endpointsToBindTo")).front(),
              std::string("unix:kitchen.sock"));

    auto const mapping =
        any_cast<AnyMap>(any_cast<std::vector<Any>>(map.at("servicePublisherMappings")).front());
    EXPECT_EQ(mapping.at("serviceID"), std::string("thermometer"));
    EXPECT_EQ(mapping.at("publisherID"), std::string("rpc"));
    // [configuration]
}

AnyMap publishedProperties(ptree properties) {
    auto const configuration = SPFConfigurationBuilder("properties")
                                   .addServiceInterface("id", "name", std::move(properties))
                                   .build();
    auto const interfaces =
        any_cast<std::vector<Any>>(publishedMap("properties").at("serviceConfigurations"));
    return any_cast<AnyMap>(any_cast<AnyMap>(interfaces.front()).at("requestedProperties"));
}

TEST_F(PropertyMap, HoldsAPropertyTree) {
    // [tree]
    ptree tree;
    tree.put("unit", "celsius");
    tree.put("sampling.seconds", 5);           // a child without text: a map
    tree.put("place", "kitchen");              // a child with text ...
    tree.put("place.floor", 2);                // ... keeps the text only
    tree.push_back({"a/b", ptree("slash")});   // the name is escaped
    tree.push_back({"UNIT", ptree("kelvin")}); // the first name, the last value
    ptree& list = tree.put_child("list", ptree());
    list.push_back({"", ptree("first")});
    list.push_back({"", ptree("last")}); // of an array the last element

    AnyMap const properties = publishedProperties(tree);
    EXPECT_EQ(properties.size(), 5u);
    EXPECT_EQ(properties.at("unit"), std::string("kelvin"));
    EXPECT_EQ(any_cast<AnyMap>(properties.at("sampling")).at("seconds"), std::string("5"));
    EXPECT_EQ(properties.at("place"), std::string("kitchen"));
    EXPECT_EQ(properties.at("a\\/b"), std::string("slash"));
    EXPECT_EQ(any_cast<AnyMap>(properties.at("list")).at(""), std::string("last"));
    // [tree]
}

} // namespace
