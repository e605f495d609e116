// When the listener runs its completion callback, and under which circumstances.
#include <deque>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "support/ConcurrentCall.hpp"
#include "tracking/ListenerTest.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

class FrameworkSetupListenerCompletionTest : public ListenerTest {};

} // namespace

TEST_F(FrameworkSetupListenerCompletionTest,
       PublishedServicesCompleteAPublisherOnlyWhenItsEndpointsAreFinished) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")}, {endpoint("c")})});
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(bound("b", "p"));
    EXPECT_EQ(completions, 0);
    listener->handleEvent(connected("c", "p"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, EndpointsCompleteAPublisherOnlyWhenItsServicesArePublished) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    listener->handleEvent(bound("b", "p"));
    listener->handleEvent(bound("b", "p"));
    EXPECT_EQ(completions, 0);
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, ARemovalCompletesAPublisherEvenIfEndpointsAreOutstanding) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect [] bind ["b"])");
}

TEST_F(FrameworkSetupListenerCompletionTest, AnErrorCompletesAPublisherAndMakesItsWaitsThrow) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    listener->handleEvent(errored(errorWith("port in use"), "p"));
    EXPECT_EQ(completions, 1);
    EXPECT_THROW(listener->waitForAllEndpoints(longTime, "p"), std::runtime_error);
    EXPECT_THROW(listener->waitForAllServices(longTime, "p"), std::runtime_error);
    EXPECT_THROW(listener->waitForAllServicesToBeUnpublished(longTime, "p"), std::runtime_error);
}

TEST_F(FrameworkSetupListenerCompletionTest, AnErrorThatIsNotStoredCompletesAPublisherToo) {
    auto const withoutError = listenerFor({publisherEntry("p")});
    withoutError->handleEvent(errored(nullptr, "p"));
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(withoutError->waitForAllServices(now, "p"));

    auto const finished = listenerFor({publisherEntry("p")});
    finished->handleEvent(allServicesPublished("p"));
    finished->handleEvent(errored(errorWith("late"), "p"));
    EXPECT_EQ(completions, 3);
    EXPECT_TRUE(finished->waitForAllServices(now, "p"));
}

TEST_F(FrameworkSetupListenerCompletionTest, TheCallbackRunsOnlyWhenEveryPublisherIsComplete) {
    auto const listener = listenerFor({publisherEntry("p"), publisherEntry("q"), publisherEntry("r")});
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(configurationRemoved("q"));
    EXPECT_EQ(completions, 0);
    listener->handleEvent(errored(errorWith("port in use"), "r"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, APublisherThatIsReportedTwiceCountsOnce) {
    auto const listener = listenerFor({publisherEntry("p"), publisherEntry("q")});
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_EQ(completions, 0);
    listener->handleEvent(allServicesPublished("q"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, EveryLaterReportOfAnyPublisherRunsTheCallbackAgain) {
    auto const listener = listenerFor({publisherEntry("p"), publisherEntry("q")});
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(allServicesPublished("q"));
    EXPECT_EQ(completions, 1);
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(bound("late", "q"));
    listener->handleEvent(connected("late", "p"));
    listener->handleEvent(configurationRemoved("q"));
    listener->handleEvent(errored(errorWith("late"), "p"));
    EXPECT_EQ(completions, 6);
}

TEST_F(FrameworkSetupListenerCompletionTest, AReportThatDoesNotCompleteAPublisherDoesNotRunTheCallbackAgain) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_EQ(completions, 1);
    listener->handleEvent(bound("unknown", "p"));
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, AListenerWithoutPublishersNeverRunsTheCallback) {
    auto const listener = listenerForConfiguration(configurationMap(1, {}));
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(configurationRemoved(""));
    listener->handleEvent(errored(errorWith("port in use"), "p"));
    EXPECT_EQ(completions, 0);
}

TEST_F(FrameworkSetupListenerCompletionTest, CompleteConfigCountsThePublisher) {
    auto const listener = listenerFor({publisherEntry("p"), publisherEntry("q")});
    listener->completeConfig("p");
    listener->completeConfig("p");
    EXPECT_EQ(completions, 0);
    listener->completeConfig("q");
    EXPECT_EQ(completions, 1);
    listener->completeConfig("p");
    EXPECT_EQ(completions, 2);
}

TEST_F(FrameworkSetupListenerCompletionTest, CompleteConfigCountsNamesWithoutLookingThemUp) {
    auto const listener = listenerFor({publisherEntry("p"), publisherEntry("q")});
    listener->completeConfig("unknown");
    EXPECT_EQ(completions, 0);
    listener->completeConfig("p");
    EXPECT_EQ(completions, 1);
    listener->completeConfig("q");
    EXPECT_EQ(completions, 1) << "three names, two publishers";
}

TEST_F(FrameworkSetupListenerCompletionTest, AfterDisableUnregisteringTheCallbackNoLongerRuns) {
    auto const listener = listenerFor({publisherEntry("p")});
    listener->disableUnregistering();
    listener->disableUnregistering();
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_EQ(completions, 0);
    EXPECT_TRUE(listener->waitForAllServicesToBeUnpublished(now, "p")) << "events still count";
}

TEST_F(FrameworkSetupListenerCompletionTest,
       AfterDisableUnregisteringACompleteListenerRunsTheCallbackNoMore) {
    auto const listener = listenerFor({publisherEntry("p")});
    listener->handleEvent(allServicesPublished("p"));
    listener->disableUnregistering();
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, AnEmptyCallbackThrowsBadFunctionCallOutOfTheEventHandler) {
    FrameworkSetupListener listener(nullptr, configurationMap(1, {publisherEntry("p")}));
    EXPECT_THROW(listener.handleEvent(allServicesPublished("p")), std::bad_function_call);
    EXPECT_TRUE(listener.waitForAllServices(now, "p")) << "the event itself counts";
    EXPECT_THROW(listener.completeConfig("p"), std::bad_function_call);
    listener.disableUnregistering();
    EXPECT_NO_THROW(listener.handleEvent(allServicesPublished("p")));
}

TEST_F(FrameworkSetupListenerCompletionTest,
       AnExceptionOfTheCallbackPassesThroughAndTheNextReportRunsItAgain) {
    auto runs = 0;
    FrameworkSetupListener listener(
        [&runs] {
            ++runs;
            throw std::runtime_error("cannot unregister");
        },
        configurationMap(1, {publisherEntry("p")}));
    EXPECT_THROW(listener.handleEvent(allServicesPublished("p")), std::runtime_error);
    EXPECT_THROW(listener.handleEvent(configurationRemoved("p")), std::runtime_error);
    EXPECT_EQ(runs, 2);
}

TEST_F(FrameworkSetupListenerCompletionTest, NoLockIsHeldWhileTheCallbackRuns) {
    std::shared_ptr<FrameworkSetupListener> listener;
    std::unique_ptr<ConcurrentCall<bool>> meanwhile;
    auto finishedInTime = false;
    std::function<void()> const callback = [&] {
        // What another thread does meanwhile must not have to wait for the callback.
        meanwhile = std::make_unique<ConcurrentCall<bool>>([&] {
            listener->disableUnregistering();
            listener->completeConfig("p");
            outstanding(*listener, "p");
            return listener->waitForAllServices(now, "p");
        });
        finishedInTime = meanwhile->returns() && meanwhile->get();
    };
    listener = std::make_shared<FrameworkSetupListener>(callback, configurationMap(1, {publisherEntry("p")}));
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_TRUE(finishedInTime);
}

TEST_F(FrameworkSetupListenerCompletionTest, ARemovalIsRecordedBeforeTheCallbackRuns) {
    std::unique_ptr<FrameworkSetupListener> listener;
    auto wasRecorded = false;
    listener = std::make_unique<FrameworkSetupListener>(
        [&] { wasRecorded = listener->waitForAllServicesToBeUnpublished(now, "p"); },
        configurationMap(1, {publisherEntry("p")}));
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_TRUE(wasRecorded);
}

TEST_F(FrameworkSetupListenerCompletionTest, AnErrorIsRecordedBeforeTheCallbackRuns) {
    std::unique_ptr<FrameworkSetupListener> listener;
    listener = std::make_unique<FrameworkSetupListener>(
        [&] {
            ++completions;
            EXPECT_THROW(listener->waitForAllServices(now, "p"), std::runtime_error);
        },
        configurationMap(1, {publisherEntry("p")}));
    listener->handleEvent(errored(errorWith("port in use"), "p"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, TheCallbackMayDeliverTheNextEvent) {
    std::shared_ptr<FrameworkSetupListener> listener;
    auto depth = 0;
    listener = std::make_shared<FrameworkSetupListener>(
        [&] {
            if (++depth == 1) {
                listener->handleEvent(configurationRemoved("p"));
            }
        },
        configurationMap(1, {publisherEntry("p")}));
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_EQ(depth, 2);
}

TEST_F(FrameworkSetupListenerCompletionTest, WhatRunsIsACopyOfTheCallbackSoThatItMayDestroyTheListener) {
    auto const held = std::make_shared<int>();
    std::unique_ptr<FrameworkSetupListener> listener;
    auto holdersAfterwards = 0L;
    listener = std::make_unique<FrameworkSetupListener>(
        [held, &listener, &holdersAfterwards] {
            auto& holders = holdersAfterwards; // captures are read before the listener goes
            auto const& mine = held;
            listener.reset();
            holders = mine.use_count();
        },
        configurationMap(1, {publisherEntry("p")}));
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_EQ(holdersAfterwards, 2) << "this test and the running copy";
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, AListenerIsKeptAliveWhileAnEventCompletesItsPublisher) {
    struct {
        char const* name;
        std::vector<std::shared_ptr<Event>> before;
        std::shared_ptr<Event> completing;
    } const cases[] = {
        {"published last", {bound("b", "p"), connected("c", "p")}, allServicesPublished("p")},
        {"bound last", {allServicesPublished("p"), connected("c", "p")}, bound("b", "p")},
        {"connected last", {allServicesPublished("p"), bound("b", "p")}, connected("c", "p")},
        {"error", {}, errored(errorWith("port in use"), "p")},
        {"removed", {}, configurationRemoved("p")},
    };
    for (auto const& [name, before, completing] : cases) {
        SCOPED_TRACE(name);
        std::shared_ptr<FrameworkSetupListener> listener;
        std::weak_ptr<FrameworkSetupListener> observer;
        auto aliveDuringTheCallback = false;
        listener = std::make_shared<FrameworkSetupListener>(
            [&] {
                listener.reset();
                aliveDuringTheCallback = !observer.expired();
            },
            configurationMap(1, {publisherEntry("p", {endpoint("b")}, {endpoint("c")})}));
        observer = listener;
        auto* const raw = listener.get();
        for (auto const& event : before) {
            raw->handleEvent(event);
        }
        ASSERT_FALSE(observer.expired());
        raw->handleEvent(completing);
        EXPECT_TRUE(aliveDuringTheCallback);
        EXPECT_TRUE(observer.expired());
    }
}

TEST_F(FrameworkSetupListenerCompletionTest, AListenerIsKeptAliveWhileAnEventComesAfterTheCompletion) {
    for (auto const& late : {bound("b", "p"), connected("c", "p"), allServicesPublished("p")}) {
        std::shared_ptr<FrameworkSetupListener> listener;
        std::weak_ptr<FrameworkSetupListener> observer;
        auto isLate = false;
        auto aliveDuringTheCallback = false;
        listener = std::make_shared<FrameworkSetupListener>(
            [&] {
                if (isLate) {
                    listener.reset();
                    aliveDuringTheCallback = !observer.expired();
                }
            },
            configurationMap(1, {publisherEntry("p")}));
        observer = listener;
        listener->handleEvent(allServicesPublished("p"));
        isLate = true;
        auto* const raw = listener.get();
        raw->handleEvent(late);
        EXPECT_TRUE(aliveDuringTheCallback);
        EXPECT_TRUE(observer.expired());
    }
}

TEST_F(FrameworkSetupListenerCompletionTest, AnEventIsKeptAliveWhileItIsHandled) {
    auto event = allServicesPublished("p");
    std::weak_ptr<Event> const observer = event;
    auto aliveDuringTheCallback = false;
    FrameworkSetupListener listener([&] { aliveDuringTheCallback = !observer.expired(); },
                                    configurationMap(1, {publisherEntry("p")}));
    listener.handleEvent(std::move(event));
    EXPECT_TRUE(aliveDuringTheCallback);
    EXPECT_TRUE(observer.expired());
}

TEST_F(FrameworkSetupListenerCompletionTest, TheCallbackIsTakenOverByMove) {
    auto const held = std::make_shared<int>();
    std::function<void()> callback = [held] {};
    FrameworkSetupListener const listener(std::move(callback), configurationMap(1, {}));
    EXPECT_EQ(held.use_count(), 2);
}

TEST_F(FrameworkSetupListenerCompletionTest, ALoggerThatThrowsLosesNoCompletion) {
    log.setThrowing(true);
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")}, {endpoint("c")})});
    listener->handleEvent(bound("b", "p"));
    listener->handleEvent(connected("c", "p"));
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_EQ(completions, 1);
}

TEST_F(FrameworkSetupListenerCompletionTest, OfSimultaneousReportsTheLastRunsTheCallback) {
    constexpr auto publishers = 32;
    constexpr auto threads = 4;
    std::vector<cppmicroservices::AnyMap> entries;
    for (auto i = 0; i < publishers; ++i) {
        entries.push_back(publisherEntry(std::to_string(i), {endpoint("b")}));
    }
    auto const listener = listenerFor(entries);
    {
        std::deque<ConcurrentCall<void>> reporters;
        for (auto thread = 0; thread < threads; ++thread) {
            reporters.emplace_back([&listener, thread] {
                for (auto i = thread; i < publishers; i += threads) {
                    listener->handleEvent(bound("b", std::to_string(i)));
                    listener->handleEvent(allServicesPublished(std::to_string(i)));
                }
            });
        }
    }
    EXPECT_EQ(completions, 1);
}

} // namespace agent::spf::frameworksetup::test
