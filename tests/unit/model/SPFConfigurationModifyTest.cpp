// The client's handle: modify(), and handles that share an ID, or the ID of a publisher.
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/ConfigurationTest.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::any_cast;
using frameworklistener::FrameworkEvent;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using SPFConfigurationModify = SPFConfigurationTest;
using SPFConfigurationSharedID = SPFConfigurationTest;
using SPFConfigurationSharedPublisherID = SPFConfigurationTest;

TEST_F(SPFConfigurationModify, MovesTheContentAndDetachesTheHandle) {
    auto configuration = published();
    auto const builder = configuration.modify();
    EXPECT_FALSE(configuration.empty());
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_THAT(configuration.getServicePublisherConfigurations(), IsEmpty());
    EXPECT_THAT(configuration.getServiceInterfaceConfigurations(), IsEmpty());
    EXPECT_THAT(configuration.getServiceInterfaceConfigurationsForServicePublisher("p"), IsEmpty());
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationModify, BuildsTheNextVersionUnderTheSameID) {
    SPFConfigurationBuilder first("id");
    auto configuration = first.addServicePublisher(publisherNamed("p"))
                             .addServiceInterfaceToServicePublisher("p", interfaceNamed("i"))
                             .addServiceInterfaceToAllServicePublishers(interfaceNamed("a"))
                             .build();
    forgetCalls();
    auto const next = configuration.modify().addServicePublisher(publisherNamed("q")).build();
    EXPECT_EQ(next.getConfigurationID(), "id");
    EXPECT_THAT(admin->calls(), ElementsAre(get, update));
    EXPECT_EQ(any_cast<int>(admin->updates().back().properties.at("modificationCount")), 2);
    EXPECT_THAT(idsOf(next.getServicePublisherConfigurations()), UnorderedElementsAre("p", "q"));
    EXPECT_THAT(idsOf(next.getServiceInterfaceConfigurationsForServicePublisher("p")), ElementsAre("a", "i"));
    EXPECT_THAT(idsOf(next.getServiceInterfaceConfigurationsForServicePublisher("q")), ElementsAre("a"));
}

TEST_F(SPFConfigurationModify, LeavesTheOldHandleNothingToWithdraw) {
    auto configuration = published();
    auto const builder = configuration.modify();
    configuration.reset();
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationModify, AndDroppingTheBuilderWithdraws) {
    auto configuration = published();
    configuration.modify();
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationModify, AndBuildingMakesTheNewHandleResponsible) {
    auto configuration = published();
    auto builder = configuration.modify();
    {
        auto const next = builder.build();
        admin->forgetCalls();
    }
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
    builder = SPFConfigurationBuilder("another");
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationModify, LeavesTheTrackerWithTheOldHandle) {
    auto configuration = published();
    auto const builder = configuration.modify();
    EXPECT_FALSE(configuration.waitForAllServices(atOnce, "p"));
    deliver(std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::AllServicesPublished, "p", 1));
    EXPECT_TRUE(configuration.waitForAllServices(longTime, "p"));
    EXPECT_EQ(describe(configuration.listOutstandingEndpoints("p").first), R"(["c"])");
}

TEST_F(SPFConfigurationModify, OfADetachedHandleGivesABuilderWithAnEmptyIDAndTheSameCount) {
    auto configuration = published();
    auto const first = configuration.modify();
    auto second = configuration.modify();
    EXPECT_FALSE(configuration.empty());
    auto const built = second.build();
    EXPECT_EQ(built.getConfigurationID(), "generated");
    EXPECT_THAT(built.getServicePublisherConfigurations(), IsEmpty());
    EXPECT_EQ(any_cast<int>(admin->updates().back().properties.at("modificationCount")), 2);
}

TEST_F(SPFConfigurationModify, OfADetachedHandleAndDroppingTheBuilderWithdrawsNothing) {
    auto configuration = published();
    auto const first = configuration.modify();
    configuration.modify();
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationModify, AfterUnpublishingMovesTheContentThatIsStillHeld) {
    auto configuration = published();
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    auto const built = configuration.modify().build();
    EXPECT_EQ(built.getConfigurationID(), "generated");
    EXPECT_THAT(idsOf(built.getServicePublisherConfigurations()), ElementsAre("p"));
}

TEST_F(SPFConfigurationSharedID, IsWithdrawnByEitherHandle) {
    auto first = publish();
    auto second = published();
    first.reset();
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
    EXPECT_EQ(second.getConfigurationID(), "id");
    second.reset();
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove, get, remove));
}

TEST_F(SPFConfigurationSharedID, IsWithdrawnByAssigningANewBuildOfTheSameID) {
    auto configuration = published();
    configuration = publish();
    EXPECT_THAT(admin->calls(), ElementsAre(get, update, get, remove));
    EXPECT_EQ(configuration.getConfigurationID(), "id");
}

TEST_F(SPFConfigurationSharedID, StaysPublishedWhenANewBuildOfModifyIsAssigned) {
    auto configuration = published();
    configuration = configuration.modify().build();
    EXPECT_THAT(admin->calls(), ElementsAre(get, update));
    EXPECT_EQ(configuration.getConfigurationID(), "id");
}

TEST_F(SPFConfigurationSharedPublisherID, TakesTheReportOfAnEarlierRemovalForItsOwn) {
    publish("first").reset();
    auto const second = publish("second");
    deliverRemoved();
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationSharedPublisherID, IsToldFromTheVersionBeforeModify) {
    auto first = publish();
    auto second = first.modify().build();
    first.reset();
    deliverRemoved();
    EXPECT_EQ(registeredListeners(), 1U);
}

} // namespace
} // namespace agent::spf::frameworksetup::test
