// What an update tracker does when the framework is missing, has stopped or fails.
#include <cstddef>
#include <new>
#include <stdexcept>

#include <gmock/gmock.h>

#include "support/AllocationFailure.hpp"
#include "support/PrivateMember.hpp"
#include "tracking/UpdateTrackerTest.hpp"

namespace agent::spf::frameworksetup::test {

// The registration that a tracker holds. Unregistering it makes the tracker's own attempt fail.
struct RegistrationOfTracker {
    using Type = cppmicroservices::ServiceRegistrationBase SPFConfigurationUpdateTracker::*;
    friend Type memberOf(RegistrationOfTracker);
};
template struct PrivateMember<RegistrationOfTracker, &SPFConfigurationUpdateTracker::registration>;

namespace {

using ::testing::ElementsAre;

class SPFConfigurationUpdateTrackerFailureTest : public UpdateTrackerTest {};

cppmicroservices::ServiceRegistrationBase registrationOf(SPFConfigurationUpdateTracker& tracker) {
    return tracker.*memberOf(RegistrationOfTracker());
}

constexpr char const* invalidContext = "The bundle context is no longer valid";

// The text of the std::runtime_error that the call throws.
template <typename Call>
std::string runtimeErrorText(Call const& call) {
    try {
        call();
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "nothing was thrown";
}

} // namespace

TEST_F(SPFConfigurationUpdateTrackerFailureTest, WithoutAFrameworkNothingIsRegisteredAndTheWaitsTimeOut) {
    fakeHost().setFramework(nullptr);
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    EXPECT_FALSE(tracker->waitForAllServices(now, "p"));
    EXPECT_NO_THROW(tracker->registerListenerForUnpublishing());
    EXPECT_FALSE(tracker->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_NO_THROW(tracker->disable());
    EXPECT_TRUE(registrations().empty());
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AFrameworkThatIsGoneBeforeUnpublishingIsNoError) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    complete(registeredListener());
    fakeHost().setFramework(nullptr);
    EXPECT_NO_THROW(tracker->registerListenerForUnpublishing());
    EXPECT_FALSE(tracker->waitForAllServicesToBeUnpublished(now, "p"));
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AFrameworkThatComesLaterGetsTheListenerForUnpublishing) {
    fakeHost().setFramework(nullptr);
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    fakeHost().setFramework(std::make_shared<cppmicroservices::Framework>(framework()));
    tracker->disable();
    EXPECT_EQ(registeredListeners(), 0U) << "only what asks for a registration tries again";
    tracker->registerListenerForUnpublishing();
    EXPECT_EQ(registeredListeners(), 1U);
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AStoppedFrameworkIsARuntimeErrorOfCreate) {
    stopFramework();
    EXPECT_EQ(runtimeErrorText([&] { SPFConfigurationUpdateTracker::create(configuration()); }),
              invalidContext);
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AFrameworkThatStopsBeforeUnpublishingIsARuntimeError) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    complete(registeredListener());
    stopFramework();
    EXPECT_EQ(runtimeErrorText([&] { tracker->registerListenerForUnpublishing(); }), invalidContext);
    EXPECT_FALSE(tracker->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_NO_THROW(tracker->disable());
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest,
       AfterAFailedRegistrationTheTrackerCanBeEnabledInAnotherFramework) {
    auto const other = startFramework();
    auto const tracker = std::make_shared<SPFConfigurationUpdateTracker>();
    stopFramework();
    EXPECT_THROW(tracker->enable(configuration()), std::runtime_error);
    fakeHost().setFramework(other);
    tracker->enable(configuration());
    EXPECT_TRUE(other->GetBundleContext().GetServiceReference<frameworklistener::FrameworkListener>());
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AnExceptionOfTheHostPassesThroughAndRegistersNothing) {
    callLog().when("getFramework", throwing("no access"));
    EXPECT_EQ(runtimeErrorText([&] { SPFConfigurationUpdateTracker::create(configuration()); }), "no access");
    EXPECT_TRUE(registrations().empty());
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AFailedRegistrationIsNotRetriedByACompletionOrADisable) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    complete(listener);
    callLog().whenNth(1, "getFramework", throwing("no access"));
    EXPECT_THROW(tracker->registerListenerForUnpublishing(), std::runtime_error);
    listener->handleEvent(configurationRemoved("p"));
    tracker->disable();
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
    EXPECT_TRUE(tracker->waitForAllServicesToBeUnpublished(now, "p"));
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, ARegistrationThatHasEndedAlreadyLeavesDisableOnce) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    registrationOf(*tracker).Unregister();
    EXPECT_THROW(tracker->disable(), std::logic_error);
    EXPECT_NO_THROW(tracker->disable());
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AnUnregistrationWithoutMemoryIsTriedAgainByTheNext) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    registrationOf(*tracker).Unregister();
    {
        AllocationFailure const outOfMemory(1, AllocationFailure::Duration::Lasting);
        EXPECT_THROW(tracker->disable(), std::bad_alloc);
    }
    EXPECT_THROW(tracker->disable(), std::logic_error);
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AnEnablingThatRanOutOfMemoryCanBeRepeated) {
    bool failed = true;
    for (std::size_t n = 1; failed; ++n) {
        auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
        registrationOf(*tracker).Unregister();
        auto const other = configurationMap(1, {publisherEntry("q")});
        try {
            AllocationFailure const outOfMemory(n);
            tracker->enable(other);
            failed = outOfMemory.happened();
        } catch (std::bad_alloc const&) {
            // As it may; what counts is what comes after.
        }
        tracker->enable(other);
        EXPECT_FALSE(tracker->waitForAllServices(now, "q")) << "allocation " << n;
    }
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, EnableReplacesARegistrationThatHasEndedWithItsFramework) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    dropFrameworks();
    auto const another = startFramework();
    fakeHost().setFramework(another);
    tracker->enable(configurationMap(1, {publisherEntry("q")}));
    EXPECT_EQ(another->GetBundleContext().GetServiceReferences<frameworklistener::FrameworkListener>().size(),
              1U);
    EXPECT_FALSE(tracker->waitForAllServices(now, "q"));
    EXPECT_THROW(tracker->waitForAllServices(now, "p"), std::out_of_range);
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AnUnregistrationThatThrowsLeavesTheUnpublishWait) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    registrationOf(*tracker).Unregister();
    EXPECT_THROW(tracker->waitForAllServicesToBeUnpublished(now, "p"), std::logic_error);
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AnUnregistrationThatThrowsLeavesTheEventHandler) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    registrationOf(*tracker).Unregister();
    EXPECT_THROW(complete(listener), std::logic_error);
    EXPECT_TRUE(tracker->waitForAllServices(now, "p")) << "the event itself counts";
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AnUnregistrationThatThrowsDoesNotLeaveTheDestructor) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    registrationOf(*tracker).Unregister();
    EXPECT_NO_THROW(tracker.reset());
    EXPECT_TRUE(observer.expired());
}

TEST_F(SPFConfigurationUpdateTrackerFailureTest, AFrameworkThatStoppedMeanwhileIsNoErrorOfTheDestructor) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    stopFramework();
    EXPECT_NO_THROW(tracker->registerListenerForUnpublishing())
        << "as far as the tracker knows it is registered";
    EXPECT_NO_THROW(complete(listener));
    EXPECT_NO_THROW(tracker.reset());
}

} // namespace agent::spf::frameworksetup::test
