// Publication of a configuration: what happens in which order, and what a failure at any step leaves.
#include "model/SPFConfigurationImpl.hpp"

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"
#include "publication/encodeConfiguration.hpp"
#include "support/HostTest.hpp"
#include "support/describe.hpp"
#include "support/installationCalls.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// An endpoint that records when it is copied: as encoding does first.
struct RecordedEndpoint {
    RecordedEndpoint() = default;
    RecordedEndpoint(RecordedEndpoint const&) { callLog().record("endpoint copied"); }
    RecordedEndpoint& operator=(RecordedEndpoint const&) = default;
    ~RecordedEndpoint() = default;
    friend bool operator==(RecordedEndpoint const&, RecordedEndpoint const&) { return true; }
    friend std::ostream& operator<<(std::ostream& stream, RecordedEndpoint const&) {
        return stream << "endpoint";
    }
};

class SPFConfigurationImplTest : public HostTest {
protected:
    static constexpr char const* create = "CreateFactoryConfiguration qo.spf.framework";
    static constexpr char const* get = "GetFactoryConfiguration qo.spf.framework id";
    static constexpr char const* update = "Update qo.spf.framework~id";
    static constexpr char const* remove = "Remove qo.spf.framework~id";

    static ServicePublishers publisher(std::vector<Any> endpoints = {}) {
        ServicePublishers publishers;
        publishers.insert({"p", "rpcservicepublisher", std::move(endpoints), {}, {}, {}});
        return publishers;
    }

    static std::unique_ptr<SPFConfigurationImpl> publish(std::string id = "id", std::int32_t count = 0,
                                                         ServicePublishers publishers = publisher()) {
        return std::make_unique<SPFConfigurationImpl>(std::move(id), count, ServiceInterfaces(),
                                                      std::move(publishers), ServiceMappings());
    }

    // The ID of a configuration that was published with an empty one, when its PID is this.
    std::string idForPID(std::string const& pid) {
        auto const admin = provideConfigurationAdmin();
        admin->setPIDToGenerate(pid);
        auto const published = publish("");
        EXPECT_THAT(admin->calls(), ElementsAre(create, "GetPid " + pid, "Update " + pid));
        EXPECT_NE(published->updateTracker, nullptr);
        return published->name;
    }

    // Publishing fails with the int 42, leaves no listener and withdraws nothing.
    void expectFailure(ServicePublishers publishers = publisher()) {
        EXPECT_THROW(publish("id", 0, std::move(publishers)), int);
        EXPECT_EQ(registeredListeners(), 0U);
        EXPECT_EQ(callLog().count(remove), 0U);
        EXPECT_THAT(log.records(), IsEmpty());
    }
};

using SPFConfigurationImplConstruction = SPFConfigurationImplTest;
using SPFConfigurationImplWithEmptyID = SPFConfigurationImplTest;
using SPFConfigurationImplWithoutService = SPFConfigurationImplTest;
using SPFConfigurationImplFailure = SPFConfigurationImplTest;
using SPFConfigurationImplDestruction = SPFConfigurationImplTest;

TEST_F(SPFConfigurationImplConstruction, StartsThenEncodesThenLooksUpThenGetsThenTracksThenUpdates) {
    provideConfigurationAdmin();
    recordListenerRegistrations();
    auto publishers = publisher({Any(RecordedEndpoint())});
    callLog().forgetCalls();
    auto const published = publish("id", 0, std::move(publishers));
    std::vector<std::string> calls;
    for (auto& call : callLog().calls()) {
        if (calls.empty() || calls.back() != call) { // encoding may copy more than once
            calls.push_back(std::move(call));
        }
    }
    auto const encodedAt = std::find(calls.begin(), calls.end(), "endpoint copied");
    ASSERT_NE(encodedAt, calls.end());
    EXPECT_EQ(*(encodedAt - 1), installationCalls.back());
    EXPECT_EQ(*(encodedAt + 1), "getFramework");
    calls.erase(std::remove(calls.begin(), calls.end(), "endpoint copied"), calls.end());
    std::vector<std::string> expected = {"getFramework"};
    expected.insert(expected.end(), installationCalls.begin(), installationCalls.end());
    expected.insert(expected.end(),
                    {"getFramework", get, "getFramework", "FrameworkListener registered", update});
    EXPECT_EQ(calls, expected);
}

TEST_F(SPFConfigurationImplConstruction, TakesTheContentAndAddsOneToTheCount) {
    provideConfigurationAdmin();
    ServiceInterfaces interfaces;
    interfaces.insert({{"i", "name", {}}, true});
    ServiceMappings mappings;
    mappings.insert({"i", "p"});
    SPFConfigurationImpl const published("id", 6, std::move(interfaces), publisher(), std::move(mappings));
    EXPECT_EQ(published.name, "id");
    EXPECT_EQ(published.modificationCount, 7);
    EXPECT_EQ(published.serviceInterfaces.size(), 1U);
    EXPECT_EQ(published.servicePublishers.size(), 1U);
    EXPECT_EQ(published.serviceMappings.size(), 1U);
    EXPECT_NE(published.updateTracker, nullptr);
}

TEST_F(SPFConfigurationImplConstruction, CopiesContentThatIsNotHandedOver) {
    auto const admin = provideConfigurationAdmin();
    std::string const id = "id";
    ServiceInterfaces interfaces;
    interfaces.insert({{"i", "name", {}}, true});
    auto const publishers = publisher();
    ServiceMappings mappings;
    mappings.insert({"i", "p"});
    SPFConfigurationImpl const published(id, 6, interfaces, publishers, mappings);
    EXPECT_EQ(published.name, "id");
    EXPECT_EQ(published.modificationCount, 7);
    EXPECT_EQ(describe(admin->updates().front().properties),
              describe(encodeConfiguration(interfaces, publishers, mappings, 7)));
    EXPECT_EQ(interfaces.size(), 1U);
    EXPECT_EQ(publishers.size(), 1U);
    EXPECT_EQ(mappings.size(), 1U);
}

TEST_F(SPFConfigurationImplConstruction, UpdatesWithTheEncodedContentAndTheNewCount) {
    auto const admin = provideConfigurationAdmin();
    ServiceInterfaces interfaces;
    interfaces.insert({{"i", "name", {}}, true});
    ServiceMappings mappings;
    mappings.insert({"i", "p"});
    auto const expected = describe(encodeConfiguration(interfaces, publisher(), mappings, 7));
    SPFConfigurationImpl const published("id", 6, std::move(interfaces), publisher(), std::move(mappings));
    ASSERT_EQ(admin->updates().size(), 1U);
    EXPECT_EQ(describe(admin->updates().front().properties), expected);
}

TEST_F(SPFConfigurationImplConstruction, CountsFromTheHighestToTheLowest) {
    auto const admin = provideConfigurationAdmin();
    using Limits = std::numeric_limits<std::int32_t>;
    EXPECT_EQ(publish("id", Limits::max())->modificationCount, Limits::min());
    EXPECT_EQ(any_cast<int>(admin->updates().back().properties.at("modificationCount")), Limits::min());
}

TEST_F(SPFConfigurationImplConstruction, ReachesTheSameConfigurationAgainWithTheNextCount) {
    auto const admin = provideConfigurationAdmin();
    auto const first = publish("id", 0);
    auto const second = publish("id", 1);
    EXPECT_THAT(admin->calls(), ElementsAre(get, update, get, update));
    EXPECT_EQ(any_cast<int>(admin->updates()[0].properties.at("modificationCount")), 1);
    EXPECT_EQ(any_cast<int>(admin->updates()[1].properties.at("modificationCount")), 2);
}

TEST_F(SPFConfigurationImplConstruction, DoesNotWaitForTheUpdate) {
    provideConfigurationAdmin(); // its futures never become ready
    EXPECT_NO_THROW(publish());
    EXPECT_EQ(callLog().count(update), 1U);
}

TEST_F(SPFConfigurationImplConstruction, MissesNoEventThatTheUpdateCauses) {
    using frameworklistener::FrameworkEvent;
    using frameworklistener::FrameworkListener;
    provideConfigurationAdmin();
    callLog().when(update, [this] {
        auto context = framework().GetBundleContext();
        for (auto const& reference : context.GetServiceReferences<FrameworkListener>()) {
            context.GetService(reference)->handleEvent(
                std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::AllServicesPublished, "p", 1));
        }
    });
    EXPECT_TRUE(publish()->updateTracker->waitForAllServices(std::chrono::milliseconds::zero(), "p"));
}

TEST_F(SPFConfigurationImplConstruction, PublishesIntoTheFrameworkThatTheHostHasAfterTheStart) {
    auto const another = startFramework();
    auto const admin = provideConfigurationAdmin(*another);
    callLog().when(installationCalls.back(), [&] { fakeHost().setFramework(another); });
    auto const published = publish();
    EXPECT_THAT(admin->calls(), ElementsAre(get, update));
}

TEST_F(SPFConfigurationImplConstruction, LogsNothing) {
    provideConfigurationAdmin();
    auto const published = publish();
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(SPFConfigurationImplWithEmptyID, TakesTheInstanceNameFromThePID) {
    EXPECT_EQ(idForPID("qo.spf.framework~abc"), "abc");
}

TEST_F(SPFConfigurationImplWithEmptyID, TakesAnInstanceNameOfOneCharacter) {
    EXPECT_EQ(idForPID("qo.spf.framework~a"), "a");
}

TEST_F(SPFConfigurationImplWithEmptyID, StaysWithoutIDWhenThePIDHasNoInstanceName) {
    EXPECT_EQ(idForPID("qo.spf.framework~"), "");
}

TEST_F(SPFConfigurationImplWithEmptyID, StaysWithoutIDWhenThePIDIsShorter) {
    EXPECT_EQ(idForPID("qo.spf.framework"), "");
}

TEST_F(SPFConfigurationImplWithEmptyID, StaysWithoutIDWhenThePIDIsEmpty) {
    EXPECT_EQ(idForPID(""), "");
}

TEST_F(SPFConfigurationImplWithEmptyID, GoesByTheLengthOfThePrefixAlone) {
    EXPECT_EQ(idForPID("0123456789abcdefgHIJ"), "HIJ");
}

TEST_F(SPFConfigurationImplWithEmptyID, IsWithdrawnUnderTheNewID) {
    auto const admin = provideConfigurationAdmin();
    publish("");
    EXPECT_THAT(admin->calls(),
                ElementsAre(create, "GetPid qo.spf.framework~generated", "Update qo.spf.framework~generated",
                            "GetFactoryConfiguration qo.spf.framework generated",
                            "Remove qo.spf.framework~generated"));
}

TEST_F(SPFConfigurationImplWithoutService, ClearsTheIDAndTracksNothing) {
    recordListenerRegistrations();
    auto const published = publish();
    EXPECT_EQ(published->name, "");
    EXPECT_EQ(published->modificationCount, 1);
    EXPECT_EQ(published->servicePublishers.size(), 1U);
    EXPECT_EQ(published->updateTracker, nullptr);
    EXPECT_EQ(callLog().count("FrameworkListener registered"), 0U);
}

TEST_F(SPFConfigurationImplWithoutService, WithdrawsNothingLaterEvenIfThereIsOneThen) {
    auto published = publish();
    auto const admin = provideConfigurationAdmin();
    published.reset();
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationImplWithoutService, IsNoErrorWithoutAFrameworkEither) {
    fakeHost().setFramework(nullptr);
    auto const published = publish();
    EXPECT_EQ(published->name, "");
    EXPECT_EQ(published->updateTracker, nullptr);
}

TEST_F(SPFConfigurationImplFailure, OfTheStartAsksForNothingFurther) {
    auto const admin = provideConfigurationAdmin();
    callLog().when(installationCalls.back(), [] { throw 42; });
    expectFailure();
    EXPECT_EQ(callLog().calls().back(), installationCalls.back());
}

TEST_F(SPFConfigurationImplFailure, OfEncodingComesBeforeTheLookUp) {
    auto const admin = provideConfigurationAdmin();
    auto publishers = publisher({Any(RecordedEndpoint())});
    callLog().forgetCalls();
    callLog().when("endpoint copied", [] { throw 42; });
    expectFailure(std::move(publishers));
    EXPECT_EQ(callLog().count("getFramework"), 1U); // of the start
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationImplFailure, OfTheLookUpIsPassedOn) {
    auto const admin = provideConfigurationAdmin();
    callLog().whenNth(2, "getFramework", [] { throw 42; });
    expectFailure();
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationImplFailure, OfGettingTheConfigurationIsPassedOn) {
    auto const admin = provideConfigurationAdmin();
    callLog().when(get, [] { throw 42; });
    expectFailure();
    EXPECT_THAT(admin->calls(), ElementsAre(get));
}

TEST_F(SPFConfigurationImplFailure, OfCreatingAConfigurationIsPassedOn) {
    auto const admin = provideConfigurationAdmin();
    callLog().when(create, [] { throw 42; });
    EXPECT_THROW(publish(""), int);
    EXPECT_THAT(admin->calls(), ElementsAre(create));
}

TEST_F(SPFConfigurationImplFailure, OfReadingThePIDIsPassedOn) {
    auto const admin = provideConfigurationAdmin();
    callLog().when("GetPid qo.spf.framework~generated", [] { throw 42; });
    EXPECT_THROW(publish(""), int);
    EXPECT_EQ(registeredListeners(), 0U);
    EXPECT_THAT(admin->calls(), ElementsAre(create, "GetPid qo.spf.framework~generated"));
}

TEST_F(SPFConfigurationImplFailure, OfTrackingLeavesTheConfigurationWithoutUpdate) {
    auto const admin = provideConfigurationAdmin();
    callLog().whenNth(3, "getFramework", [] { throw 42; });
    expectFailure();
    EXPECT_THAT(admin->calls(), ElementsAre(get));
}

TEST_F(SPFConfigurationImplFailure, OfTheUpdateUnregistersTheListenerAndWithdrawsNothing) {
    auto const admin = provideConfigurationAdmin();
    recordListenerRegistrations();
    callLog().when(update, [] { throw 42; });
    expectFailure();
    EXPECT_THAT(admin->calls(), ElementsAre(get, update));
    EXPECT_EQ(callLog().calls().back(), "FrameworkListener unregistering");
}

TEST_F(SPFConfigurationImplFailure, OfAStoppedFrameworkSaysThatTheContextIsNoLongerValid) {
    provideConfigurationAdmin();
    stopFramework();
    try {
        publish();
        FAIL() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "The bundle context is no longer valid");
    }
}

TEST_F(SPFConfigurationImplDestruction, WithdrawsUnlessTheIDIsEmpty) {
    auto const admin = provideConfigurationAdmin();
    auto published = publish();
    auto detached = publish();
    detached->name.clear();
    admin->forgetCalls();
    detached.reset();
    EXPECT_THAT(admin->calls(), IsEmpty());
    published.reset();
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(SPFConfigurationImplDestruction, DropsWhatWithdrawingThrowsAndReleasesTheTracker) {
    provideConfigurationAdmin();
    auto published = publish();
    std::weak_ptr<SPFConfigurationUpdateTracker> const tracker = published->updateTracker;
    callLog().when(remove, [] { throw 42; });
    EXPECT_NO_THROW(published.reset());
    EXPECT_TRUE(tracker.expired());
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationImplDestruction, LeavesATrackerThatSomebodyElseHolds) {
    provideConfigurationAdmin();
    auto published = publish();
    auto const tracker = published->updateTracker;
    published.reset();
    EXPECT_EQ(registeredListeners(), 1U);
    EXPECT_FALSE(tracker->waitForAllServices(std::chrono::milliseconds::zero(), "p"));
}

} // namespace
} // namespace agent::spf::frameworksetup::test
