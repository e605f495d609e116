// The client's handle: the waits, and withdrawing with a wait for the services to be unpublished.
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/ConfigurationTest.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::Any;
using frameworklistener::FrameworkErrorEvent;
using frameworklistener::FrameworkEvent;
using frameworklistener::RouterEvent;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using SPFConfigurationWait = SPFConfigurationTest;
using SPFConfigurationUnpublish = SPFConfigurationTest;

TEST_F(SPFConfigurationWait, WaitsWithItsTracker) {
    auto configuration = published();
    EXPECT_FALSE(configuration.waitForAllEndpoints(atOnce, "p"));
    EXPECT_FALSE(configuration.waitForAllServices(atOnce, "p"));
    deliver(std::make_shared<RouterEvent>(RouterEvent::Kind::Bound, Any(std::string("b")), "p", 1));
    deliver(std::make_shared<RouterEvent>(RouterEvent::Kind::Connected, Any(std::string("c")), "p", 1));
    EXPECT_TRUE(configuration.waitForAllEndpoints(longTime, "p"));
    EXPECT_FALSE(configuration.waitForAllServices(atOnce, "p"));
    deliver(std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::AllServicesPublished, "p", 1));
    EXPECT_TRUE(configuration.waitForAllServices(longTime, "p"));
}

TEST_F(SPFConfigurationWait, ListsEndpointsToConnectFirstAndToBindSecond) {
    auto configuration = published();
    auto const outstanding = configuration.listOutstandingEndpoints("p");
    EXPECT_EQ(describe(outstanding.first), R"(["c"])");
    EXPECT_EQ(describe(outstanding.second), R"(["b"])");
}

TEST_F(SPFConfigurationWait, RethrowsTheErrorOfThePublisher) {
    auto configuration = published();
    deliver(std::make_shared<FrameworkErrorEvent>(
        std::make_exception_ptr(std::invalid_argument("bad endpoint")), "p", 1));
    EXPECT_THROW(configuration.waitForAllEndpoints(longTime, "p"), std::invalid_argument);
    EXPECT_THROW(configuration.waitForAllServices(longTime, "p"), std::invalid_argument);
    EXPECT_THROW(configuration.waitForAllServicesToBeUnpublished(longTime, "p"), std::invalid_argument);
}

TEST_F(SPFConfigurationWait, ThrowsOutOfRangeForAnUnknownPublisher) {
    auto configuration = published();
    auto const message = [](auto const& call) -> std::string {
        try {
            call();
        } catch (std::out_of_range const& error) {
            return error.what();
        }
        return "nothing was thrown";
    };
    EXPECT_EQ(message([&] { configuration.waitForAllEndpoints(atOnce, "x"); }), outOfRange);
    EXPECT_EQ(message([&] { configuration.waitForAllServices(atOnce, "x"); }), outOfRange);
    EXPECT_EQ(message([&] { configuration.listOutstandingEndpoints("x"); }), outOfRange);
    EXPECT_EQ(message([&] { configuration.waitForAllServicesToBeUnpublished(atOnce, "x"); }), outOfRange);
}

TEST_F(SPFConfigurationWait, WithoutConfigurationAdminHasNoIDAndNothingToWaitFor) {
    fakeHost().setFramework(startFramework());
    {
        auto configuration = published();
        EXPECT_FALSE(configuration.empty());
        EXPECT_EQ(configuration.getConfigurationID(), "");
        EXPECT_EQ(configuration.getServicePublisherConfigurations().size(), 1U);
        EXPECT_FALSE(configuration.waitForAllEndpoints(longTime, "p"));
        EXPECT_FALSE(configuration.waitForAllServices(longTime, "unknown"));
        EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(longTime, "p"));
        EXPECT_THAT(configuration.listOutstandingEndpoints("p").first, IsEmpty());
        EXPECT_THAT(configuration.listOutstandingEndpoints("unknown").second, IsEmpty());
    }
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationUnpublish, ArmsTheListenerThenWithdrawsThenClearsTheIDThenWaits) {
    auto configuration = published();
    deliverRemoved(); // completes the only publisher, which unregisters the listener
    recordListenerRegistrations();
    forgetCalls();
    std::string idMeanwhile;
    std::string idAtTheResult;
    callLog().when(remove, [&] { idMeanwhile = configuration.getConfigurationID(); });
    auto const result = "log waitForAllServicesToBeUnpublished for p result: 1";
    callLog().when(result, [&] { idAtTheResult = configuration.getConfigurationID() + "(cleared)"; });
    EXPECT_TRUE(configuration.waitForAllServicesToBeUnpublished(longTime, "p"));
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework", "FrameworkListener registered", "getFramework",
                                               "log About to remove spf configuration for id", get, remove,
                                               result, "FrameworkListener unregistering"));
    EXPECT_EQ(idMeanwhile, "id");
    EXPECT_EQ(idAtTheResult, "(cleared)");
}

TEST_F(SPFConfigurationUnpublish, ReturnsTrueOnceTheConfigurationIsReportedRemoved) {
    auto configuration = published();
    callLog().when(remove, [this] { deliverRemoved(); });
    EXPECT_TRUE(configuration.waitForAllServicesToBeUnpublished(longTime, "p"));
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUnpublish, ReturnsFalseAtTheTimeOut) {
    auto configuration = published();
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(std::chrono::milliseconds(1), "p"));
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationUnpublish, DetachesTheHandleAndKeepsTheContent) {
    auto configuration = published();
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_FALSE(configuration.empty());
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_THAT(idsOf(configuration.getServicePublisherConfigurations()), ElementsAre("p"));
    EXPECT_FALSE(configuration.waitForAllEndpoints(atOnce, "p"));
    admin->forgetCalls();
    configuration.reset();
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationUnpublish, ASecondTimeWithdrawsNothingAndWaitsAgain) {
    auto configuration = published();
    callLog().when(remove, [this] { deliverRemoved(); });
    EXPECT_TRUE(configuration.waitForAllServicesToBeUnpublished(longTime, "p"));
    forgetCalls();
    EXPECT_TRUE(configuration.waitForAllServicesToBeUnpublished(longTime, "p"));
    EXPECT_THAT(admin->calls(), IsEmpty());
    EXPECT_EQ(callLog().count("log waitForAllServicesToBeUnpublished for p result: 1"), 1U);
}

TEST_F(SPFConfigurationUnpublish, LogsThatWithdrawingThrewClearsTheIDAndWaitsAllTheSame) {
    auto configuration = published();
    callLog().when(remove, [this] {
        deliverRemoved();
        throw std::runtime_error("the reason, which is not logged");
    });
    EXPECT_TRUE(configuration.waitForAllServicesToBeUnpublished(longTime, "p"));
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_THAT(
        log.records(),
        ElementsAre(libraryRecord(4, "About to remove spf configuration for id"),
                    libraryRecord(
                        512, "removeFromConfigurationAdmin() in waitForAllServicesToBeUnpublished() threw."),
                    libraryRecord(4, "waitForAllServicesToBeUnpublished for p result: 1")));
    admin->forgetCalls();
    configuration.reset();
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationUnpublish, LogsNoFailureWhenThatSeverityIsOff) {
    auto configuration = published();
    fakeHost().setEnabledSeverities(allSeverities & ~512U);
    callLog().when(remove, throwing("cannot remove"));
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(4, "About to remove spf configuration for id"),
                            libraryRecord(4, "waitForAllServicesToBeUnpublished for p result: 0")));
}

TEST_F(SPFConfigurationUnpublish, LeavesTheIDClearedWhenTheWaitThrows) {
    auto configuration = published();
    EXPECT_THROW(configuration.waitForAllServicesToBeUnpublished(atOnce, "unknown"), std::out_of_range);
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationUnpublish, PassesWhatRegisteringTheListenerThrowsAndWithdrawsNothing) {
    auto configuration = published();
    deliverRemoved(); // completes the only publisher, which unregisters the listener
    callLog().whenNth(1, "getFramework", throwing("no access"));
    EXPECT_THROW(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"), std::runtime_error);
    EXPECT_EQ(configuration.getConfigurationID(), "id");
    EXPECT_THAT(admin->calls(), IsEmpty());
}

// Registering and withdrawing run other people's code on the client's thread, the client's own included.

TEST_F(SPFConfigurationUnpublish, AHandleThatIsResetFromInsideRegisteringIsWithdrawnOnce) {
    auto configuration = published();
    deliverRemoved(); // completes the only publisher, which unregisters the listener
    recordListenerRegistrations();
    callLog().when("FrameworkListener registered", [&] { configuration.reset(); });
    EXPECT_TRUE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_TRUE(configuration.empty());
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUnpublish, AHandleThatIsResetFromInsideWithdrawingStaysEmpty) {
    auto configuration = published();
    callLog().whenNth(1, remove, [&] { configuration.reset(); });
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_TRUE(configuration.empty());
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUnpublish, TheIDIsWholeWhenTheHandleIsResetWhileItsConfigurationIsLookedUp) {
    std::string const id(100, 'i'); // too long to lie inside its string
    auto configuration = published(id);
    callLog().whenNth(1, "log About to remove spf configuration for " + id, [&] { configuration.reset(); });
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_THAT(admin->calls(),
                ElementsAre("GetFactoryConfiguration qo.spf.framework " + id, "Remove qo.spf.framework~" + id,
                            "GetFactoryConfiguration qo.spf.framework " + id,
                            "Remove qo.spf.framework~" + id));
}

TEST_F(SPFConfigurationUnpublish, AConfigurationThatTheHandleIsAssignedFromInsideRegisteringStaysPublished) {
    auto configuration = published();
    deliverRemoved(); // completes the only publisher, which unregisters the listener
    recordListenerRegistrations();
    callLog().whenNth(1, "FrameworkListener registered", [&] { configuration = publish("other"); });
    EXPECT_TRUE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_EQ(configuration.getConfigurationID(), "other");
    EXPECT_EQ(callLog().count("Remove qo.spf.framework~other"), 0U);
}

TEST_F(SPFConfigurationUnpublish, AConfigurationThatTheHandleIsAssignedFromInsideWithdrawingKeepsItsID) {
    auto configuration = published();
    callLog().whenNth(1, remove, [&] { configuration = publish("other"); });
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_EQ(configuration.getConfigurationID(), "other");
}

TEST_F(SPFConfigurationUnpublish, WithoutAFrameworkWithdrawsNothingAndWaits) {
    auto configuration = published();
    fakeHost().setFramework(nullptr);
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(4, "waitForAllServicesToBeUnpublished for p result: 0")));
}

TEST_F(SPFConfigurationUnpublish, AfterTheFrameworkStoppedLogsThatWithdrawingThrewAndWaits) {
    auto configuration = published();
    stopFramework();
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_THAT(
        log.records(),
        ElementsAre(libraryRecord(
                        512, "removeFromConfigurationAdmin() in waitForAllServicesToBeUnpublished() threw."),
                    libraryRecord(4, "waitForAllServicesToBeUnpublished for p result: 0")));
}

} // namespace
} // namespace agent::spf::frameworksetup::test
