// The client's handle: its states, what it answers, what it withdraws and when.
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "model/SPFConfigurationImpl.hpp"
#include "support/HostTest.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using frameworklistener::Event;
using frameworklistener::FrameworkErrorEvent;
using frameworklistener::FrameworkEvent;
using frameworklistener::FrameworkListener;
using frameworklistener::RouterEvent;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr std::chrono::milliseconds atOnce{0};
constexpr auto longTime = std::chrono::milliseconds::max();

template <typename Record>
std::vector<std::string> idsOf(std::vector<Record> const& records) {
    std::vector<std::string> ids;
    for (auto const& record : records) {
        ids.push_back(record.uniqueID);
    }
    return ids;
}

SPFServiceInterfaceConfiguration interfaceNamed(std::string uniqueID) {
    return {std::move(uniqueID), {}, {}};
}

SPFServicePublisherConfiguration publisherNamed(std::string uniqueID) {
    return {std::move(uniqueID), {}, {}, {}, {}, {}};
}

class SPFConfigurationTest : public HostTest {
protected:
    static constexpr char const* get = "GetFactoryConfiguration qo.spf.framework id";
    static constexpr char const* update = "Update qo.spf.framework~id";
    static constexpr char const* remove = "Remove qo.spf.framework~id";
    static constexpr char const* outOfRange = "unordered_map::at: key not found";

    SPFConfigurationTest()
        : admin(provideConfigurationAdmin()) {}

    // A configuration with one rpc publisher "p", which connects to "c" and binds "b".
    static SPFConfiguration publish(std::string id = "id") {
        return SPFConfigurationBuilder(std::move(id))
            .addServicePublisher("p", "rpcservicepublisher", {"c"}, {"b"}, {}, {})
            .build();
    }

    // As publish(), and forgets what that recorded.
    SPFConfiguration published(std::string id = "id") {
        auto configuration = publish(std::move(id));
        forgetCalls();
        return configuration;
    }

    void forgetCalls() {
        admin->forgetCalls();
        callLog().forgetCalls();
    }

    // Delivers an event to every registered listener, as the framework does.
    void deliver(std::shared_ptr<Event> const& event) {
        auto context = framework().GetBundleContext();
        for (auto const& reference : context.GetServiceReferences<FrameworkListener>()) {
            context.GetService(reference)->handleEvent(event);
        }
    }

    void deliverRemoved(std::uint32_t modificationCount = 1) {
        deliver(std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::ConfigurationRemoved, "p",
                                                 modificationCount));
    }

    std::shared_ptr<RecordingConfigurationAdmin> admin;
};

using SPFConfigurationEmpty = SPFConfigurationTest;
using SPFConfigurationPublished = SPFConfigurationTest;
using SPFConfigurationModify = SPFConfigurationTest;
using SPFConfigurationUnpublish = SPFConfigurationTest;
using SPFConfigurationForPublisher = SPFConfigurationTest;
using SPFConfigurationSharedID = SPFConfigurationTest;

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

TEST_F(SPFConfigurationPublished, WaitsWithItsTracker) {
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

TEST_F(SPFConfigurationPublished, ListsEndpointsToConnectFirstAndToBindSecond) {
    auto configuration = published();
    auto const outstanding = configuration.listOutstandingEndpoints("p");
    EXPECT_EQ(describe(outstanding.first), R"(["c"])");
    EXPECT_EQ(describe(outstanding.second), R"(["b"])");
}

TEST_F(SPFConfigurationPublished, RethrowsTheErrorOfThePublisher) {
    auto configuration = published();
    deliver(std::make_shared<FrameworkErrorEvent>(
        std::make_exception_ptr(std::invalid_argument("bad endpoint")), "p", 1));
    EXPECT_THROW(configuration.waitForAllEndpoints(longTime, "p"), std::invalid_argument);
    EXPECT_THROW(configuration.waitForAllServices(longTime, "p"), std::invalid_argument);
    EXPECT_THROW(configuration.waitForAllServicesToBeUnpublished(longTime, "p"), std::invalid_argument);
}

TEST_F(SPFConfigurationPublished, ThrowsOutOfRangeForAnUnknownPublisher) {
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

TEST_F(SPFConfigurationPublished, WithoutConfigurationAdminHasNoIDAndNothingToWaitFor) {
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

TEST_F(SPFConfigurationUnpublish, WithoutAFrameworkWithdrawsNothingAndWaits) {
    auto configuration = published();
    fakeHost().setFramework(nullptr);
    EXPECT_FALSE(configuration.waitForAllServicesToBeUnpublished(atOnce, "p"));
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(4, "waitForAllServicesToBeUnpublished for p result: 0")));
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
    SPFConfiguration const configuration(
        std::make_unique<SPFConfigurationImpl>("id", 0, interfaces, ServicePublishers(), mappings));
    EXPECT_THAT(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher("p")),
                ElementsAre("i"));
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

} // namespace
} // namespace agent::spf::frameworksetup::test
