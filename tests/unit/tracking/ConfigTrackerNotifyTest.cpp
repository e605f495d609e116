// When a tracker wakes its waiters: after each change that one may wait for, with its mutex free, so that
// whoever wakes up does not run into it at once; and not otherwise.
#include "agent/spf/frameworksetup/ConfigTracker.hpp"

#include <functional>
#include <future>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CallLog.hpp"
#include "support/FakeHost.hpp"
#include "support/LogCapture.hpp"
#include "support/PrivateMember.hpp"
#include "tracking/endpoints.hpp"

namespace agent::spf::frameworksetup::test {

struct MutexOfTracker {
    using Type = std::mutex ConfigTracker::*;
    friend Type memberOf(MutexOfTracker);
};
template struct PrivateMember<MutexOfTracker, &ConfigTracker::mutex>;

struct ConditionOfTracker {
    using Type = std::condition_variable ConfigTracker::*;
    friend Type memberOf(ConditionOfTracker);
};
template struct PrivateMember<ConditionOfTracker, &ConfigTracker::condition>;

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What is told of every call of std::condition_variable::notify_all() by what is linked into this program.
std::function<void(std::condition_variable*)> notificationObserver;

} // namespace

// The linker leads the calls to the second, and from there the first to what was called.
extern "C" void notifyAll(std::condition_variable* condition) noexcept
    __asm__("__real__ZNSt18condition_variable10notify_allEv");
extern "C" void observedNotifyAll(std::condition_variable* condition) noexcept
    __asm__("__wrap__ZNSt18condition_variable10notify_allEv");

void observedNotifyAll(std::condition_variable* condition) noexcept {
    if (notificationObserver) {
        notificationObserver(condition);
    }
    notifyAll(condition);
}

namespace {

// Records of each notification of a tracker whether its mutex was free.
class ConfigTrackerNotifyTest : public ::testing::Test {
protected:
    ConfigTrackerNotifyTest() {
        notificationObserver = [this](std::condition_variable const* condition) {
            if (condition == &(tracker.*memberOf(ConditionOfTracker()))) {
                mutexWasFree.push_back(isMutexFree());
            }
        };
    }
    ~ConfigTrackerNotifyTest() override {
        notificationObserver = nullptr;
        callLog().reset();
        fakeHost().reset();
    }

    bool isMutexFree() {
        return std::async(std::launch::async,
                          [this] {
                              std::unique_lock<std::mutex> const lock(tracker.*memberOf(MutexOfTracker()),
                                                                      std::try_to_lock);
                              return lock.owns_lock();
                          })
            .get();
    }

    void reportError() { tracker.configurationErrored(std::make_exception_ptr(std::runtime_error("error"))); }

    LogCapture log;
    ConfigTracker tracker{{endpoint("b")}, {endpoint("c")}, true};
    std::vector<bool> mutexWasFree;
};

} // namespace

TEST_F(ConfigTrackerNotifyTest, TheLastEndpointWakesTheWaitersWithTheMutexFree) {
    tracker.completeEndpointBind(endpoint("b"));
    EXPECT_THAT(mutexWasFree, IsEmpty()) << "one is left to connect";
    tracker.completeEndpointConnect(endpoint("c"));
    EXPECT_THAT(mutexWasFree, ElementsAre(true));
}

TEST_F(ConfigTrackerNotifyTest, PublishedServicesWakeTheWaitersWithTheMutexFree) {
    tracker.completeAllServicesPublished();
    EXPECT_THAT(mutexWasFree, ElementsAre(true));
}

TEST_F(ConfigTrackerNotifyTest, ARemovalWakesTheWaitersWithTheMutexFree) {
    tracker.completeConfigurationRemoved();
    EXPECT_THAT(mutexWasFree, ElementsAre(true));
}

TEST_F(ConfigTrackerNotifyTest, AnErrorWakesTheWaitersWithTheMutexFree) {
    reportError();
    EXPECT_THAT(mutexWasFree, ElementsAre(true));
}

TEST_F(ConfigTrackerNotifyTest, AReportThatChangesNothingWakesNobody) {
    tracker.completeAllServicesPublished();
    tracker.completeConfigurationRemoved();
    mutexWasFree.clear();
    tracker.completeAllServicesPublished();
    tracker.completeConfigurationRemoved();
    tracker.completeEndpointBind(endpoint("unknown"));
    EXPECT_THAT(mutexWasFree, IsEmpty());
    reportError();
    mutexWasFree.clear();
    reportError();
    tracker.completeEndpointBind(endpoint("b"));
    EXPECT_THAT(mutexWasFree, IsEmpty());
}

} // namespace agent::spf::frameworksetup::test
