// The life of an update tracker: registration, completion, unpublishing and the waits. What foreign code may
// do meanwhile is in SPFConfigurationUpdateTrackerReentranceTest.cpp.
#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceReference.h>
#include <gmock/gmock.h>

#include "tracking/UpdateTrackerTest.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using cppmicroservices::BadAnyCastException;
using frameworklistener::FrameworkListener;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SPFConfigurationUpdateTrackerTest : public UpdateTrackerTest {};

// The properties of a service that only the framework has set are those that any service has.
template <typename Service>
std::vector<std::string> propertyKeys(cppmicroservices::BundleContext context) {
    auto keys = context.GetServiceReference<Service>().GetPropertyKeys();
    std::sort(keys.begin(), keys.end());
    return keys;
}

// A service registered without properties, to compare with.
class PlainService {};

} // namespace
} // namespace agent::spf::frameworksetup::test

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(agent::spf::frameworksetup::test::PlainService,
                                           "agent::spf::frameworksetup::test::PlainService")

namespace agent::spf::frameworksetup::test {

static_assert(std::is_base_of_v<std::enable_shared_from_this<SPFConfigurationUpdateTracker>,
                                SPFConfigurationUpdateTracker>);
static_assert(std::is_nothrow_destructible_v<SPFConfigurationUpdateTracker>);
static_assert(!std::is_copy_constructible_v<SPFConfigurationUpdateTracker>);

TEST_F(SPFConfigurationUpdateTrackerTest, CreateRegistersOneListenerThatFollowsTheConfiguration) {
    auto const tracker =
        SPFConfigurationUpdateTracker::create(configurationMap(3, {publisherEntry("p", {endpoint("b")})}));
    EXPECT_EQ(registeredListeners(), 1U);
    registeredListener()->handleEvent(bound("b", "p", 2));
    EXPECT_FALSE(tracker->waitForAllEndpoints(now, "p"));
    registeredListener()->handleEvent(bound("b", "p", 3));
    EXPECT_TRUE(tracker->waitForAllEndpoints(now, "p"));
}

TEST_F(SPFConfigurationUpdateTrackerTest, TheListenerIsRegisteredWithoutServicePropertiesOfItsOwn) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    framework().GetBundleContext().RegisterService<PlainService>(std::make_shared<PlainService>());
    EXPECT_EQ(propertyKeys<FrameworkListener>(framework().GetBundleContext()),
              propertyKeys<PlainService>(framework().GetBundleContext()));
}

TEST_F(SPFConfigurationUpdateTrackerTest, TheListenerIsRegisteredUnderItsInterfaceAlone) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const reference = framework().GetBundleContext().GetServiceReference<FrameworkListener>();
    EXPECT_EQ(reference.GetProperty(cppmicroservices::Constants::OBJECTCLASS),
              cppmicroservices::Any(std::vector<std::string>{us_service_interface_iid<FrameworkListener>()}));
}

TEST_F(SPFConfigurationUpdateTrackerTest, CompletionUnregistersTheListenerAndALaterDisableDoesNothing) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    complete(registeredListener());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
    tracker->disable();
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, TheListenerStaysRegisteredUntilEveryPublisherIsComplete) {
    auto const tracker = SPFConfigurationUpdateTracker::create(
        configurationMap(1, {publisherEntry("p"), publisherEntry("q")}));
    auto const listener = registeredListener();
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_EQ(registeredListeners(), 1U);
    listener->handleEvent(errored(errorWith("port in use"), "q"));
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerTest, RepeatedCompletionIsHarmless) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    complete(listener);
    complete(listener);
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, AListenerWithoutPublishersStaysRegisteredUntilItsTrackerGoes) {
    auto tracker = SPFConfigurationUpdateTracker::create(configurationMap(1, {}));
    complete(registeredListener());
    EXPECT_EQ(registeredListeners(), 1U);
    tracker.reset();
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerTest, DisableUnregistersTheListenerOnce) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->disable();
    tracker->disable();
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, WaitsAndListStillAnswerAfterDisable) {
    auto const tracker =
        SPFConfigurationUpdateTracker::create(configurationMap(1, {publisherEntry("p", {endpoint("b")})}));
    auto const listener = registeredListener();
    tracker->disable();
    EXPECT_EQ(describe(tracker->listOutstandingEndpoints("p")), R"(connect [] bind ["b"])");
    listener->handleEvent(bound("b", "p"));
    EXPECT_TRUE(tracker->waitForAllEndpoints(now, "p"));
}

TEST_F(SPFConfigurationUpdateTrackerTest, DestructionUnregistersTheListener) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker.reset();
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, TheListenerDoesNotKeepItsTrackerAlive) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    auto const listener = registeredListener();
    tracker.reset();
    EXPECT_TRUE(observer.expired());
    EXPECT_NO_THROW(complete(listener));
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, EnableOfATrackerThatNoSharedPointerOwnsIsABadWeakPointer) {
    SPFConfigurationUpdateTracker tracker;
    EXPECT_THROW(tracker.enable(configuration()), std::bad_weak_ptr);
    auto const owned = std::make_unique<SPFConfigurationUpdateTracker>();
    EXPECT_THROW(owned->enable(configuration()), std::bad_weak_ptr);
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(SPFConfigurationUpdateTrackerTest, BeforeEnableDisableDoesNothingAndTheOthersAreALogicError) {
    auto const tracker = std::make_shared<SPFConfigurationUpdateTracker>();
    EXPECT_NO_THROW(tracker->disable());
    EXPECT_THROW(tracker->registerListenerForUnpublishing(), std::logic_error);
    EXPECT_THROW(tracker->waitForAllEndpoints(now, "p"), std::logic_error);
    EXPECT_THROW(tracker->waitForAllServices(now, "p"), std::logic_error);
    EXPECT_THROW(tracker->waitForAllServicesToBeUnpublished(now, "p"), std::logic_error);
    EXPECT_THROW(tracker->listOutstandingEndpoints("p"), std::logic_error);
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationUpdateTrackerTest, EnableAfterDisableRegistersAListenerForTheNewConfiguration) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration(1));
    tracker->disable();
    tracker->enable(configurationMap(2, {publisherEntry("q")}));
    EXPECT_EQ(registeredListeners(), 1U);
    EXPECT_FALSE(tracker->waitForAllServices(now, "q"));
    EXPECT_THROW(tracker->waitForAllServices(now, "p"), std::out_of_range);
}

TEST_F(SPFConfigurationUpdateTrackerTest, EnableOfAnEnabledTrackerReplacesTheRegisteredListener) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration(1));
    auto const first = registeredListener();
    tracker->enable(configuration(2));
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered));
    EXPECT_NE(registeredListener(), first);
}

TEST_F(SPFConfigurationUpdateTrackerTest, ALateCompletionOfAReplacedListenerDoesNotUnregisterTheNewOne) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration(1));
    auto const first = registeredListener();
    tracker->enable(configuration(2));
    complete(first);
    EXPECT_EQ(registeredListeners(), 1U);
    registeredListener()->handleEvent(allServicesPublished("p", 2));
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerTest, AConfigurationThatCannotBeReadThrowsAndRegistersNothing) {
    EXPECT_THROW(SPFConfigurationUpdateTracker::create(emptyMap()), std::out_of_range);
    auto wrong = configuration();
    wrong["modificationCount"] = std::string("1");
    EXPECT_THROW(SPFConfigurationUpdateTracker::create(wrong), BadAnyCastException);
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(SPFConfigurationUpdateTrackerTest, AFailedEnableLeavesTheTrackerWithTheListenerThatItHad) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    EXPECT_THROW(tracker->enable(emptyMap()), std::out_of_range);
    EXPECT_THAT(registrations(), ElementsAre(registered));
    complete(registeredListener());
    EXPECT_TRUE(tracker->waitForAllServices(now, "p"));
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerTest, ForUnpublishingAListenerThatIsStillRegisteredIsNotRegisteredTwice) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->registerListenerForUnpublishing();
    tracker->registerListenerForUnpublishing();
    EXPECT_THAT(registrations(), ElementsAre(registered));
}

TEST_F(SPFConfigurationUpdateTrackerTest, ForUnpublishingTheSameListenerIsRegisteredAgainAfterCompletion) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    complete(listener);
    tracker->registerListenerForUnpublishing();
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered));
    EXPECT_EQ(registeredListener(), listener);
}

TEST_F(SPFConfigurationUpdateTrackerTest, ForUnpublishingADisabledListenerIsRegisteredAgain) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->disable();
    tracker->registerListenerForUnpublishing();
    EXPECT_EQ(registeredListeners(), 1U);
}

TEST_F(SPFConfigurationUpdateTrackerTest, AfterRegisteringForUnpublishingCompletionNoLongerUnregisters) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->registerListenerForUnpublishing();
    complete(registeredListener());
    registeredListener()->handleEvent(configurationRemoved("p"));
    EXPECT_THAT(registrations(), ElementsAre(registered));
}

TEST_F(SPFConfigurationUpdateTrackerTest, EnableAfterRegisteringForUnpublishingUnregistersAtCompletionAgain) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->registerListenerForUnpublishing();
    tracker->enable(configuration());
    complete(registeredListener());
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerTest, AnUnpublishWaitThatIsReachedUnregistersAndReturnsTrue) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->registerListenerForUnpublishing();
    ConcurrentCall<bool> wait([&] { return tracker->waitForAllServicesToBeUnpublished(longTime, "p"); });
    ASSERT_TRUE(wait.blocks());
    registeredListener()->handleEvent(configurationRemoved("p"));
    EXPECT_TRUE(wait.get());
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerTest, AnUnpublishWaitThatTimesOutUnregistersAndReturnsFalse) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->registerListenerForUnpublishing();
    EXPECT_FALSE(tracker->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, AnUnpublishWaitWithNothingRegisteredUnregistersNothing) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    complete(registeredListener());
    EXPECT_FALSE(tracker->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, AnUnpublishWaitThatThrowsLeavesTheRegistrationAsItIs) {
    auto const error = errorWith("port in use");
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->registerListenerForUnpublishing();
    registeredListener()->handleEvent(errored(error, "p"));
    try {
        tracker->waitForAllServicesToBeUnpublished(longTime, "p");
        ADD_FAILURE() << "nothing was thrown";
    } catch (...) {
        EXPECT_EQ(std::current_exception(), error);
    }
    EXPECT_THROW(tracker->waitForAllServicesToBeUnpublished(longTime, "unknown"), std::out_of_range);
    EXPECT_THAT(registrations(), ElementsAre(registered));
}

TEST_F(SPFConfigurationUpdateTrackerTest, AnUnpublishWaitAloneLeavesItToCompletionToUnregister) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    EXPECT_THROW(tracker->waitForAllServicesToBeUnpublished(longTime, "unknown"), std::out_of_range);
    complete(registeredListener());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerTest, TheOtherWaitsLeaveTheRegistrationAsItIs) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->waitForAllEndpoints(now, "p");
    tracker->waitForAllServices(now, "p");
    tracker->listOutstandingEndpoints("p");
    EXPECT_THAT(registrations(), ElementsAre(registered));
}

TEST_F(SPFConfigurationUpdateTrackerTest, WaitsAndListAreThoseOfTheListener) {
    auto const tracker = SPFConfigurationUpdateTracker::create(
        configurationMap(1, {publisherEntry("p", {endpoint("b")}, {endpoint("c")})}));
    EXPECT_EQ(describe(tracker->listOutstandingEndpoints("p")), R"(connect ["c"] bind ["b"])");
    registeredListener()->handleEvent(allServicesPublished("p"));
    EXPECT_FALSE(tracker->waitForAllEndpoints(now, "p"));
    EXPECT_TRUE(tracker->waitForAllServices(now, "p"));
    EXPECT_FALSE(tracker->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(4, "ConfigTracker completeAllServicesPublished"),
                            libraryRecord(4, "waitForAllEndpoints for p result: 0"),
                            libraryRecord(4, "waitForAllServices for p result: 1"),
                            libraryRecord(4, "waitForAllServicesToBeUnpublished for p result: 0")));
}

TEST_F(SPFConfigurationUpdateTrackerTest, AnUnknownPublisherIsOutOfRangeWithAFixedText) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const textOf = [&](auto const& call) -> std::string {
        try {
            call();
        } catch (std::out_of_range const& error) {
            return error.what();
        }
        return "nothing was thrown";
    };
    auto const text = "unordered_map::at: key not found";
    EXPECT_EQ(textOf([&] { tracker->waitForAllEndpoints(longTime, "unknown"); }), text);
    EXPECT_EQ(textOf([&] { tracker->waitForAllServices(longTime, "unknown"); }), text);
    EXPECT_EQ(textOf([&] { tracker->waitForAllServicesToBeUnpublished(longTime, "unknown"); }), text);
    EXPECT_EQ(textOf([&] { tracker->listOutstandingEndpoints("unknown"); }), text);
}

} // namespace agent::spf::frameworksetup::test
