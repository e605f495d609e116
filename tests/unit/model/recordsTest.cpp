// The public records: plain, in their order of members, empty by default, copyable and movable.
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"
#include "model/modelContainers.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using boost::property_tree::ptree;
using cppmicroservices::Any;

// No base class, no virtual operation, all members public; copyable and movable.
template <typename Record>
constexpr bool isPlain = std::is_aggregate_v<Record> && !std::is_polymorphic_v<Record> &&
                         std::is_copy_constructible_v<Record> && std::is_copy_assignable_v<Record> &&
                         std::is_move_constructible_v<Record> && std::is_move_assignable_v<Record>;

TEST(SPFServiceInterfaceConfigurationRecord, IsPlain) {
    EXPECT_TRUE(isPlain<SPFServiceInterfaceConfiguration>);
}

TEST(SPFServicePublisherConfigurationRecord, IsPlain) {
    EXPECT_TRUE(isPlain<SPFServicePublisherConfiguration>);
}

TEST(SPFServiceInterfaceConfigurationRecord, IsEmptyByDefault) {
    SPFServiceInterfaceConfiguration const record;
    EXPECT_EQ(record.uniqueID, "");
    EXPECT_EQ(record.name, "");
    EXPECT_EQ(record.requestedProperties, ptree());
}

TEST(SPFServiceInterfaceConfigurationRecord, IsInitialisedInTheOrderOfItsMembers) {
    SPFServiceInterfaceConfiguration const record{"id", "name", ptree("properties")};
    EXPECT_EQ(record.uniqueID, "id");
    EXPECT_EQ(record.name, "name");
    EXPECT_EQ(record.requestedProperties, ptree("properties"));
}

TEST(SPFServicePublisherConfigurationRecord, IsEmptyByDefault) {
    SPFServicePublisherConfiguration const record;
    EXPECT_EQ(record.uniqueID, "");
    EXPECT_EQ(record.name, "");
    EXPECT_TRUE(record.endpointsToConnectTo.empty());
    EXPECT_TRUE(record.endpointsToBindTo.empty());
    EXPECT_EQ(record.importFilter, "");
    EXPECT_EQ(record.exportFilter, "");
}

TEST(SPFServicePublisherConfigurationRecord, IsInitialisedInTheOrderOfItsMembers) {
    SPFServicePublisherConfiguration const record{
        "id", "name", {Any(std::string("connect"))}, {Any(std::string("bind"))}, "import", "export"};
    EXPECT_EQ(record.uniqueID, "id");
    EXPECT_EQ(record.name, "name");
    EXPECT_EQ(describe(record.endpointsToConnectTo), R"(["connect"])");
    EXPECT_EQ(describe(record.endpointsToBindTo), R"(["bind"])");
    EXPECT_EQ(record.importFilter, "import");
    EXPECT_EQ(record.exportFilter, "export");
}

TEST(ServiceMappingRecord, IsInitialisedInTheOrderOfItsMembers) {
    ServiceMapping const mapping{"service", "publisher"};
    EXPECT_EQ(mapping.serviceID, "service");
    EXPECT_EQ(mapping.publisherID, "publisher");
}

TEST(ServiceInterfaceEntryRecord, HoldsTheRecordAndTheFlag) {
    ServiceInterfaceEntry const entry{{"id", "name", {}}, true};
    EXPECT_EQ(entry.configuration.uniqueID, "id");
    EXPECT_TRUE(entry.mappedToAllServicePublishers);
}

TEST(ServiceInterfaceEntryRecord, CopiesARecordThatIsNotHandedOver) {
    SPFServiceInterfaceConfiguration record{"id", "name", {}};
    record.requestedProperties.put("key", "value");
    ServiceInterfaceEntry const entry{record, true};
    EXPECT_EQ(entry.configuration.uniqueID, "id");
    EXPECT_EQ(entry.configuration.name, "name");
    EXPECT_EQ(entry.configuration.requestedProperties, record.requestedProperties);
    EXPECT_TRUE(entry.mappedToAllServicePublishers);
    EXPECT_EQ(record.requestedProperties.get<std::string>("key"), "value");
}

TEST(ServiceInterfaceEntryRecord, IsEmptyAndUnmappedByDefault) {
    ServiceInterfaceEntry const entry;
    EXPECT_EQ(entry.configuration.uniqueID, "");
    EXPECT_EQ(entry.configuration.name, "");
    EXPECT_TRUE(entry.configuration.requestedProperties.empty());
    EXPECT_FALSE(entry.mappedToAllServicePublishers);
}

} // namespace
} // namespace agent::spf::frameworksetup::test
