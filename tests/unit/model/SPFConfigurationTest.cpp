// The client's handle: its states, what it answers, what it withdraws and when. modify() and the waits are
// in the files named so.
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/ConfigurationTest.hpp"
#include "model/SPFConfigurationImpl.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using SPFConfigurationEmpty = SPFConfigurationTest;
using SPFConfigurationPublished = SPFConfigurationTest;
using SPFConfigurationForPublisher = SPFConfigurationTest;

TEST(SPFConfigurationType, IsMovableWithoutThrowingAndNotCopyable) {
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<SPFConfiguration>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<SPFConfiguration>);
    EXPECT_FALSE(std::is_copy_constructible_v<SPFConfiguration>);
    EXPECT_FALSE(std::is_copy_assignable_v<SPFConfiguration>);
}

TEST_F(SPFConfigurationEmpty, AnswersWithNothing) {
    SPFConfiguration const configuration;
    EXPECT_TRUE(configuration.empty());
    EXPECT_THAT(configuration.getServiceInterfaceConfigurations(), IsEmpty());
    EXPECT_THAT(configuration.getServicePublisherConfigurations(), IsEmpty());
    EXPECT_THAT(configuration.getServiceInterfaceConfigurationsForServicePublisher("p"), IsEmpty());
    EXPECT_EQ(configuration.getConfigurationID(), "");
}

TEST_F(SPFConfigurationEmpty, WaitsForNothingWhateverTheTimeOut) {
    SPFConfiguration configuration;
    for (auto const timeout : {atOnce, longTime, std::chrono::milliseconds::min()}) {
        EXPECT_FALSE(configuration.waitForAllEndpoints(timeout, "p"));
        EXPECT_FALSE(configuration.waitForAllServices(timeout, "p"));
        EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(timeout, "p"));
    }
    auto const outstanding = configuration.listOutstandingEndpoints("p");
    EXPECT_TRUE(outstanding.first.empty());
    EXPECT_TRUE(outstanding.second.empty());
}

TEST_F(SPFConfigurationEmpty, WithdrawsNothing) {
    {
        SPFConfiguration configuration;
        configuration.reset();
        EXPECT_TRUE(configuration.empty());
    }
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationEmpty, ModifyGivesANewBuilderWithAnEmptyID) {
    SPFConfiguration configuration;
    auto builder = configuration.modify();
    EXPECT_TRUE(configuration.empty());
    auto const built = builder.build();
    EXPECT_EQ(built.getConfigurationID(), "generated");
    EXPECT_EQ(describe(admin->updates().back().properties),
              "{modificationCount: 1, serviceConfigurations: [], servicePublisherConfigurations: [], "
              "servicePublisherMappings: []}");
}

TEST_F(SPFConfigurationEmpty, DroppingItsBuilderWithdrawsNothing) {
    SPFConfiguration().modify();
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationEmpty, IsAHandleOfANullImplementation) {
    EXPECT_TRUE(SPFConfiguration(std::unique_ptr<SPFConfigurationImpl>()).empty());
}

TEST_F(SPFConfigurationPublished, AnswersWithItsContent) {
    SPFConfigurationBuilder builder("id");
    auto const configuration =
        builder.addServiceInterface("i", "interface", boost::property_tree::ptree("datum"))
            .addServicePublisher("p", "kind", {"c"}, {"b"}, "import", "export")
            .build();
    EXPECT_FALSE(configuration.empty());
    EXPECT_EQ(configuration.getConfigurationID(), "id");
    ASSERT_EQ(configuration.getServiceInterfaceConfigurations().size(), 1U);
    auto const interface = configuration.getServiceInterfaceConfigurations().front();
    EXPECT_EQ(interface.uniqueID, "i");
    EXPECT_EQ(interface.name, "interface");
    EXPECT_EQ(interface.requestedProperties, boost::property_tree::ptree("datum"));
    ASSERT_EQ(configuration.getServicePublisherConfigurations().size(), 1U);
    auto const publisher = configuration.getServicePublisherConfigurations().front();
    EXPECT_EQ(publisher.uniqueID, "p");
    EXPECT_EQ(publisher.name, "kind");
    EXPECT_EQ(describe(publisher.endpointsToConnectTo), R"(["c"])");
    EXPECT_EQ(describe(publisher.endpointsToBindTo), R"(["b"])");
    EXPECT_EQ(publisher.importFilter, "import");
    EXPECT_EQ(publisher.exportFilter, "export");
}

TEST_F(SPFConfigurationPublished, ListsEveryRecord) {
    SPFConfigurationBuilder builder("id");
    for (auto const* const id : {"1", "2", "3"}) {
        builder.addServicePublisher(publisherNamed(id)).addServiceInterface(interfaceNamed(id));
    }
    auto const configuration = builder.build();
    EXPECT_THAT(idsOf(configuration.getServiceInterfaceConfigurations()),
                UnorderedElementsAre("1", "2", "3"));
    EXPECT_THAT(idsOf(configuration.getServicePublisherConfigurations()),
                UnorderedElementsAre("1", "2", "3"));
}

TEST_F(SPFConfigurationPublished, IsWithdrawnByDestruction) {
    { auto const configuration = published(); }
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationPublished, IsWithdrawnByResetOnce) {
    {
        auto configuration = published();
        configuration.reset();
        EXPECT_TRUE(configuration.empty());
        EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
        configuration.reset();
    }
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationPublished, IsEmptyAlreadyWhileResetWithdraws) {
    auto configuration = published();
    auto emptyMeanwhile = false;
    callLog().when(remove, [&] { emptyMeanwhile = configuration.empty(); });
    configuration.reset();
    EXPECT_TRUE(emptyMeanwhile);
}

TEST_F(SPFConfigurationPublished, IsWithdrawnBeforeItsListenerIsUnregistered) {
    recordListenerRegistrations();
    auto configuration = published();
    configuration.reset();
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework", "log About to remove spf configuration for id",
                                               get, remove, "FrameworkListener unregistering"));
}

TEST_F(SPFConfigurationPublished, MovesWithoutWithdrawal) {
    auto source = published();
    SPFConfiguration target(std::move(source));
    EXPECT_TRUE(source.empty());
    EXPECT_EQ(target.getConfigurationID(), "id");
    SPFConfiguration another;
    another = std::move(target);
    EXPECT_TRUE(target.empty());
    EXPECT_EQ(another.getConfigurationID(), "id");
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationPublished, IsWithdrawnWhenAnotherIsMovedOntoIt) {
    auto source = publish("source");
    auto target = published();
    EXPECT_EQ(&(target = std::move(source)), &target);
    EXPECT_TRUE(source.empty());
    EXPECT_EQ(target.getConfigurationID(), "source");
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationPublished, IsReplacedAlreadyWhileMoveAssignmentWithdraws) {
    auto source = publish("source");
    auto target = published();
    std::string idMeanwhile;
    auto sourceEmptyMeanwhile = false;
    callLog().when(remove, [&] {
        idMeanwhile = target.getConfigurationID();
        sourceEmptyMeanwhile = source.empty();
    });
    target = std::move(source);
    EXPECT_EQ(idMeanwhile, "source");
    EXPECT_TRUE(sourceEmptyMeanwhile);
}

TEST_F(SPFConfigurationPublished, IsWithdrawnWhenAnEmptyHandleIsMovedOntoIt) {
    auto target = published();
    target = SPFConfiguration();
    EXPECT_TRUE(target.empty());
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationPublished, SurvivesMoveAssignmentToItself) {
    auto configuration = published();
    auto& self = configuration;
    EXPECT_EQ(&(configuration = std::move(self)), &configuration);
    EXPECT_EQ(configuration.getConfigurationID(), "id");
    EXPECT_EQ(configuration.getServicePublisherConfigurations().size(), 1U);
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationPublished, DropsWhatWithdrawingThrowsWithoutALogLine) {
    auto byDestruction = std::make_unique<SPFConfiguration>(publish("destroyed"));
    auto byAssignment = publish("assigned");
    auto byReset = publish("reset");
    for (auto const* const id : {"destroyed", "assigned", "reset"}) {
        callLog().when("GetFactoryConfiguration qo.spf.framework " + std::string(id), throwing("no"));
    }
    EXPECT_NO_THROW(byDestruction.reset());
    EXPECT_NO_THROW(byAssignment = SPFConfiguration());
    EXPECT_NO_THROW(byReset.reset());
    EXPECT_TRUE(byAssignment.empty());
    EXPECT_TRUE(byReset.empty());
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(4, "About to remove spf configuration for destroyed"),
                            libraryRecord(4, "About to remove spf configuration for assigned"),
                            libraryRecord(4, "About to remove spf configuration for reset")));
}

TEST_F(SPFConfigurationPublished, ResetsSilentlyWithoutAFramework) {
    auto configuration = published();
    fakeHost().setFramework(nullptr);
    EXPECT_NO_THROW(configuration.reset());
    EXPECT_TRUE(configuration.empty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(SPFConfigurationPublished, ResetsSilentlyAfterTheFrameworkWasStopped) {
    auto configuration = published();
    stopFramework();
    EXPECT_NO_THROW(configuration.reset());
    EXPECT_TRUE(configuration.empty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(SPFConfigurationForPublisher, ListsThoseMappedToAllFirstAndThenTheOthersByAscendingID) {
    SPFConfigurationBuilder builder("id");
    auto const configuration = builder.addServicePublisher(publisherNamed("P"))
                                   .addServiceInterfaceToServicePublisher("P", interfaceNamed("z"))
                                   .addServiceInterfaceToServicePublisher("P", interfaceNamed("A"))
                                   .addServiceInterfaceToAllServicePublishers(interfaceNamed("C"))
                                   .addServiceInterfaceToAllServicePublishers(interfaceNamed("B"))
                                   .addServiceMapping("B", "P")
                                   .build();
    EXPECT_THAT(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher("P")),
                ElementsAre("C", "B", "A", "z"));
    EXPECT_THAT(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher("unknown")),
                ElementsAre("C", "B"));
}

TEST_F(SPFConfigurationForPublisher, LeavesOutInterfacesOfOtherPublishers) {
    SPFConfigurationBuilder builder("id");
    auto const configuration = builder.addServicePublisher(publisherNamed("p"))
                                   .addServicePublisher(publisherNamed("q"))
                                   .addServiceInterfaceToServicePublisher("p", interfaceNamed("of p"))
                                   .addServiceInterfaceToServicePublisher("q", interfaceNamed("of q"))
                                   .addServiceInterface(interfaceNamed("of nobody"))
                                   .build();
    EXPECT_THAT(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher("p")),
                ElementsAre("of p"));
}

TEST_F(SPFConfigurationForPublisher, CopiesTheWholeRecords) {
    SPFConfigurationBuilder builder("id");
    auto const configuration =
        builder.addServicePublisher(publisherNamed("p"))
            .addServiceInterfaceToServicePublisher("p", "i", "mapped", boost::property_tree::ptree("1"))
            .addServiceInterfaceToAllServicePublishers("a", "to all", boost::property_tree::ptree("2"))
            .build();
    auto const interfaces = configuration.getServiceInterfaceConfigurationsForServicePublisher("p");
    ASSERT_EQ(interfaces.size(), 2U);
    EXPECT_EQ(interfaces[0].name, "to all");
    EXPECT_EQ(interfaces[0].requestedProperties, boost::property_tree::ptree("2"));
    EXPECT_EQ(interfaces[1].name, "mapped");
    EXPECT_EQ(interfaces[1].requestedProperties, boost::property_tree::ptree("1"));
}

TEST_F(SPFConfigurationForPublisher, SkipsAMappingWithoutInterface) {
    ServiceMappings mappings;
    mappings.insert({"missing", "p"});
    mappings.insert({"i", "p"});
    ServiceInterfaces interfaces;
    interfaces.insert({interfaceNamed("i"), false});
    SPFConfiguration const configuration(std::make_unique<SPFConfigurationImpl>(
        "id", 0, std::move(interfaces), ServicePublishers(), std::move(mappings)));
    EXPECT_THAT(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher("p")),
                ElementsAre("i"));
}

} // namespace
} // namespace agent::spf::frameworksetup::test
