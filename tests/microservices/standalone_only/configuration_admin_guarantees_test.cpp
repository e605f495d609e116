// What the standalone Configuration Admin guarantees beyond what every implementation of the interface does.
#include "ConfigurationAdminFixture.hpp"
#include "waitUntilAsleep.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <numeric>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace configuration_admin_test {

using ::testing::ElementsAre;

class ConfigurationAdminGuarantees : public ConfigurationAdminTest {
protected:
    static constexpr int none = -1; // the number in an empty map
};

TEST_F(ConfigurationAdminGuarantees, EachUpdateIsDeliveredWithItsOwnProperties) {
    Gate gate;
    auto const service = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1));
    configuration->Update(numbered(2));
    configuration->Remove();
    auto const last = admin_->GetConfiguration("pid")->Update(numbered(3));
    gate.open();
    EXPECT_TRUE(becomesReady(last));
    EXPECT_THAT(service->numbers(), ElementsAre(1, 2, none, 3));
}

TEST_F(ConfigurationAdminGuarantees, PidWhoseServiceBlocksHoldsUpNoOther) {
    constexpr int blockedPids = 50;
    Gate gate;
    std::vector<std::shared_ptr<RecordingService>> blocked;
    std::vector<std::shared_future<void>> delivered;
    for (int i = 0; i < blockedPids; ++i) {
        auto const pid = "blocked" + std::to_string(i);
        blocked.push_back(registerService(pid, [gate](AnyMap const&) { gate.pass(); }));
        delivered.push_back(admin_->GetConfiguration(pid)->Update(numbered(i)));
    }
    for (auto const& service : blocked) {
        EXPECT_TRUE(service->updates.reaches(1));
    }
    auto const free = registerService("free");
    EXPECT_TRUE(becomesReady(admin_->GetConfiguration("free")->Update(numbered(1))));
    EXPECT_THAT(free->numbers(), ElementsAre(1));
    EXPECT_TRUE(
        std::none_of(delivered.begin(), delivered.end(), [](auto const& each) { return isReady(each); }));
    gate.open();
    EXPECT_TRUE(
        std::all_of(delivered.begin(), delivered.end(), [](auto const& each) { return becomesReady(each); }));
}

TEST_F(ConfigurationAdminGuarantees, UpdateOfAnotherPidMayBeWaitedForInsideUpdated) {
    auto const other = admin_->GetConfiguration("other");
    auto const otherService = registerService("other");
    registerService("pid", [&](AnyMap const&) { EXPECT_TRUE(becomesReady(other->Update(numbered(2)))); });
    EXPECT_TRUE(becomesReady(admin_->GetConfiguration("pid")->Update(numbered(1))));
    EXPECT_THAT(otherService->numbers(), ElementsAre(2));
}

TEST_F(ConfigurationAdminGuarantees, ServicesMayWaitSafelyForEachOthersUpdatesInACircle) {
    auto const left = admin_->GetConfiguration("left");
    auto const right = admin_->GetConfiguration("right");
    Gate bothRunning;
    std::atomic<int> running{0};
    auto const waitFor = [&](std::shared_ptr<Configuration> const& other) {
        return [&, other](AnyMap const& properties) {
            if (numberIn(properties) == 1) {
                if (++running == 2) {
                    bothRunning.open();
                }
                bothRunning.pass();
                other->SafeUpdate(numbered(2))->get();
            }
        };
    };
    auto const leftService = registerService("left", waitFor(right));
    auto const rightService = registerService("right", waitFor(left));
    auto const leftDelivered = left->Update(numbered(1));
    auto const rightDelivered = right->Update(numbered(1));
    ASSERT_TRUE(becomesReady(leftDelivered));
    ASSERT_TRUE(becomesReady(rightDelivered));
    EXPECT_THAT(leftService->numbers(), ElementsAre(1, 2));
    EXPECT_THAT(rightService->numbers(), ElementsAre(1, 2));
}

// The thread that delivers is on its way to sleep meanwhile.
TEST_F(ConfigurationAdminGuarantees, UpdateIsDeliveredSoonAtWhateverMomentItFollowsTheLastOne) {
    constexpr std::chrono::seconds soon{5}; // for a busy machine; a thread that misses a call sleeps longer
    constexpr std::chrono::nanoseconds longestPause{20000};
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    for (std::chrono::nanoseconds pause{0}; pause < longestPause; pause += std::chrono::nanoseconds{10}) {
        auto const delivered = configuration->Update(numbered(1));
        ASSERT_EQ(delivered.wait_for(soon), std::future_status::ready) << "after " << pause.count() << " ns";
        auto const end = std::chrono::steady_clock::now() + pause;
        while (std::chrono::steady_clock::now() < end) {
        }
    }
}

TEST_F(ConfigurationAdminGuarantees, ListenerThatThrowsConcernsNeitherServicesNorTheFuture) {
    registerListener([](ConfigurationEvent const&) { throw 5; });
    auto const listener = registerListener();
    auto const service = registerService("pid");
    EXPECT_NO_THROW(admin_->GetConfiguration("pid")->Update(numbered(1)).get());
    EXPECT_EQ(listener->events.values().size(), 1U);
    EXPECT_THAT(service->numbers(), ElementsAre(1));
}

TEST_F(ConfigurationAdminGuarantees, WhatAServiceThrowsIsToldOnStandardErrorWithAllThatIsNestedInIt) {
    registerService("pid", [](AnyMap const&) {
        try {
            throw std::invalid_argument("the reason");
        } catch (...) {
            std::throw_with_nested(std::runtime_error("not now"));
        }
    });
    testing::internal::CaptureStderr();
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "Configuration Admin: ManagedService::Updated() threw for the configuration 'pid': not now: the "
        "reason\n");
}

TEST_F(ConfigurationAdminGuarantees, WhatIsThrownWithoutATextIsToldOnStandardErrorToo) {
    registerService("pid", [](AnyMap const& properties) {
        if (numberIn(properties) == 1) {
            throw 5;
        }
        try {
            throw 5;
        } catch (...) {
            std::throw_with_nested(std::runtime_error("not now"));
        }
    });
    testing::internal::CaptureStderr();
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    admin_->GetConfiguration("pid")->Update(numbered(2)).get();
    std::string const beginning =
        "Configuration Admin: ManagedService::Updated() threw for the configuration 'pid': ";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), beginning + "an exception of unknown type\n" +
                                                          beginning +
                                                          "not now: an exception of unknown type\n");
}

TEST_F(ConfigurationAdminGuarantees, ListenerThatLeftIsToldOfNoUpdateThatIsStillQueued) {
    Gate gate;
    auto const service = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    auto const listener = std::make_shared<RecordingListener>();
    auto registration = keep(context_.RegisterService<ConfigurationListener>(listener));
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1));
    auto const last = configuration->Update(numbered(2));
    ASSERT_TRUE(service->updates.reaches(1));
    registration.Unregister();
    gate.open();
    EXPECT_TRUE(becomesReady(last));
    EXPECT_EQ(listener->events.values().size(), 1U);
}

TEST_F(ConfigurationAdminGuarantees, EventsReferToTheServiceOfTheirOwnAdminBesideAnother) {
    keep(
        context_.RegisterService<ConfigurationAdmin>(admin_, ServiceProperties{{"service.ranking", Any{1}}}));
    auto const listener = registerListener();
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    auto const events = listener->events.values();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].getReference().GetBundle(), bundle_);
}

TEST_F(ConfigurationAdminGuarantees, ServiceThatWaitsSafelyForAnotherIsToldOfItsUpdatesMeanwhile) {
    Gate told;
    std::promise<pid_t> waiting;
    auto const other = admin_->GetConfiguration("other");
    registerService("other", [told](AnyMap const&) { told.pass(); });
    auto const service = registerService("pid", [&, told](AnyMap const& properties) mutable {
        if (numberIn(properties) == 1) {
            waiting.set_value(gettid());
            other->SafeUpdate(numbered(1))->get();
        } else {
            told.open();
        }
    });
    auto const configuration = admin_->GetConfiguration("pid");
    auto const first = configuration->Update(numbered(1));
    waitUntilAsleep(waiting.get_future().get());
    auto const second = configuration->Update(numbered(2));
    ASSERT_TRUE(becomesReady(first));
    ASSERT_TRUE(becomesReady(second));
    EXPECT_THAT(service->numbers(), ElementsAre(1, 2));
}

TEST_F(ConfigurationAdminGuarantees, UpdateIsDoneWhenItsPropertiesAreReleased) {
    struct Slow : ManagedService {
        explicit Slow(Gate opened)
            : gate(std::move(opened)) {}
        void Updated(AnyMap const&) override { gate.pass(); }
        Gate gate;
    };
    Gate gate;
    registerFor<ManagedService>("pid", std::make_shared<Slow>(gate));
    std::shared_future<void> first;
    std::atomic<bool> doneBefore{false};
    auto const configuration = admin_->GetConfiguration("pid");
    {
        std::shared_ptr<int> const value(new int(1), [&](int const* number) {
            doneBefore = isReady(first);
            delete number;
        });
        AnyMap properties{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
        properties["value"] = value;
        first = configuration->Update(std::move(properties));
    }
    auto const second = configuration->Update(numbered(2)); // from now on the delivery alone has the value
    gate.open();
    EXPECT_TRUE(becomesReady(second));
    EXPECT_FALSE(doneBefore);
}

TEST_F(ConfigurationAdminGuarantees, ServiceWithoutPidIsNotToldOfTheConfigurationWithoutOne) {
    auto const service = std::make_shared<RecordingService>();
    keep(context_.RegisterService<ManagedService>(service));
    admin_->GetConfiguration("")->Update(numbered(1)).get();
    EXPECT_THAT(service->numbers(), ElementsAre());
}

TEST_F(ConfigurationAdminGuarantees, ServiceThatLeftIsReleasedWhileItsUpdatesAreStillQueued) {
    Gate gate;
    auto const blocked = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    auto service = std::make_shared<RecordingService>();
    std::weak_ptr<RecordingService> const observer = service;
    Any const pid{std::string{"pid"}};
    auto registration =
        context_.RegisterService<ManagedService>(service, ServiceProperties{{"service.pid", pid}});
    auto const delivered = admin_->GetConfiguration("pid")->Update(numbered(1));
    ASSERT_TRUE(blocked->updates.reaches(1));
    registration.Unregister();
    registration = {};
    service.reset();
    EXPECT_TRUE(observer.expired());
    gate.open();
    EXPECT_TRUE(becomesReady(delivered));
}

TEST_F(ConfigurationAdminGuarantees, UpdateAndRemoveOfAStoppedAdminReachNobodyAndAreDoneAtOnce) {
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    bundle_.Stop();
    EXPECT_TRUE(isReady(configuration->Update(numbered(1))));
    configuration->SafeUpdate(numbered(2))->get();
    EXPECT_TRUE(isReady(configuration->Remove()));
    EXPECT_THAT(service->numbers(), ElementsAre());
}

TEST_F(ConfigurationAdminGuarantees, StopReturnsWhenEveryFutureIsReady) {
    Gate gate;
    auto const service = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    auto const configuration = admin_->GetConfiguration("pid");
    auto const first = configuration->Update(numbered(1));
    auto const second = configuration->Update(numbered(2));
    auto stopped = std::async(std::launch::async, [this] { bundle_.Stop(); });
    gate.open();
    ASSERT_TRUE(becomesReady(stopped));
    EXPECT_TRUE(isReady(first));
    EXPECT_TRUE(isReady(second));
}

TEST_F(ConfigurationAdminGuarantees, StopInsideUpdatedReturnsAndDropsTheUpdatesBehindIt) {
    Gate queued;
    std::shared_future<void> second;
    std::atomic<bool> secondDoneByStop{false};
    auto const service = registerService("pid", [&, queued](AnyMap const&) {
        queued.pass();
        bundle_.Stop();
        secondDoneByStop = isReady(second);
    });
    auto const configuration = admin_->GetConfiguration("pid");
    auto const first = configuration->Update(numbered(1));
    second = configuration->Update(numbered(2));
    queued.open();
    EXPECT_TRUE(becomesReady(first));
    EXPECT_TRUE(secondDoneByStop);
    EXPECT_NO_THROW(second.get());
    EXPECT_THAT(service->numbers(), ElementsAre(1, none));
}

TEST_F(ConfigurationAdminGuarantees, StopInsideUpdatedEndsTheWaitForAnUpdateThatItDrops) {
    Gate queued;
    std::promise<pid_t> waiting;
    auto const configuration = admin_->GetConfiguration("pid");
    registerService("pid", [&, queued](AnyMap const& properties) {
        if (numberIn(properties) == 1) {
            queued.pass();
            waitUntilAsleep(waiting.get_future().get());
            bundle_.Stop();
        }
    });
    registerService("other", [&, queued](AnyMap const& properties) mutable {
        if (!properties.empty()) {
            auto const dropped = configuration->SafeUpdate(numbered(2));
            waiting.set_value(gettid());
            queued.open();
            EXPECT_NO_THROW(dropped->get());
        }
    });
    auto const first = configuration->Update(numbered(1));
    auto const second = admin_->GetConfiguration("other")->Update(numbered(1));
    EXPECT_TRUE(becomesReady(first));
    EXPECT_TRUE(becomesReady(second));
}

TEST_F(ConfigurationAdminGuarantees, StopTellsWhatIsGoneEvenIfSomebodyStillHasTheService) {
    auto const service = registerService("pid");
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    bundle_.Stop();
    EXPECT_THAT(service->numbers(), ElementsAre(1, none));
}

TEST_F(ConfigurationAdminGuarantees, StopTellsAServiceThatHasLeftMeanwhileNothing) {
    using Call = RecordingFactory::Call;
    auto const factory = std::make_shared<RecordingFactory>();
    auto registration = registerFor<ManagedServiceFactory>("factory", factory);
    registerService("pid", [&](AnyMap const& properties) {
        if (properties.empty()) {
            registration.Unregister();
        }
    });
    admin_->GetConfiguration("factory~a")->Update(numbered(1)).get();
    admin_->GetConfiguration("pid")->Update(numbered(2)).get();
    bundle_.Stop();
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~a", 1}));
}

TEST_F(ConfigurationAdminGuarantees, StopRefusesToBeCalledInsideRemovedThatItCalls) {
    bool stopping = false;
    registerFactory("factory", [&](std::string const&) {
        if (stopping) {
            EXPECT_THROW(bundle_.Stop(), std::logic_error);
        }
    });
    admin_->GetConfiguration("factory~a")->Update(numbered(1)).get();
    stopping = true;
    bundle_.Stop();
    EXPECT_EQ(bundle_.GetState(), cppmicroservices::Bundle::STATE_RESOLVED);
}

TEST_F(ConfigurationAdminGuarantees, FrameworkMayBeStoppedInsideUpdated) {
    registerService("pid", [&](AnyMap const&) { framework_.Stop(); });
    auto const delivered = admin_->GetConfiguration("pid")->Update(numbered(1));
    EXPECT_TRUE(becomesReady(delivered));
    auto const event = framework_.WaitForStop(std::chrono::milliseconds{failureGuard});
    EXPECT_EQ(event.GetType(), cppmicroservices::FrameworkEvent::FRAMEWORK_STOPPED);
}

// Every service that comes and goes must see a gapless run of updates: the one it finds, then all that
// follow.
TEST_F(ConfigurationAdminGuarantees, ServicesThatComeAndGoSeeEveryUpdateOnceAndInOrder) {
    constexpr int updates = 500;
    constexpr int services = 100;
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(0)).get();
    std::thread updating{[&] {
        for (int number = 1; number <= updates; ++number) {
            configuration->Update(numbered(number));
        }
    }};
    for (int i = 0; i < services; ++i) {
        auto const service = std::make_shared<RecordingService>();
        auto registration = registerFor<ManagedService>("pid", service);
        EXPECT_TRUE(service->updates.reaches(1));
        registration.Unregister();
        auto const numbers = service->numbers();
        std::vector<int> gapless(numbers.size());
        std::iota(gapless.begin(), gapless.end(), numbers.front());
        EXPECT_EQ(numbers, gapless);
    }
    updating.join();
}

TEST_F(ConfigurationAdminGuarantees, UpdateIfDifferentOfEqualPropertiesByManyThreadsChangesOnce) {
    auto const configuration = admin_->GetConfiguration("pid");
    std::atomic<int> changes{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            if (configuration->UpdateIfDifferent(numbered(1)).first) {
                ++changes;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(configuration->GetChangeCount(), 1U);
}

// A value whose comparison runs code of the test.
struct Compared {
    int number;
    static inline std::function<void()> then;

    friend bool operator==(Compared const& left, Compared const& right) {
        if (then) {
            std::exchange(then, nullptr)();
        }
        return left.number == right.number;
    }
    friend std::ostream& operator<<(std::ostream& output, Compared const& value) {
        return output << value.number;
    }
};

TEST_F(ConfigurationAdminGuarantees, UpdateIfDifferentComparesAgainIfAnUpdateComesBetween) {
    auto const compared = [](int number) {
        return AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{"value", Any{Compared{number}}}}};
    };
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(compared(1)).get();
    Compared::then = [&] { configuration->Update(compared(2)).get(); };
    EXPECT_FALSE(configuration->UpdateIfDifferent(compared(2)).first);
    EXPECT_EQ(configuration->GetChangeCount(), 2U);
}

TEST_F(ConfigurationAdminGuarantees, UpdateIfDifferentOfAConfigurationThatIsRemovedMeanwhileThrows) {
    auto const compared = [](int number) {
        return AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{"value", Any{Compared{number}}}}};
    };
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(compared(1)).get();
    Compared::then = [&] { configuration->Remove().get(); };
    EXPECT_THROW(configuration->UpdateIfDifferent(compared(2)), std::runtime_error);
    EXPECT_EQ(service->updates.values().size(), 2U); // the removal is the last that it is told
}

struct StopDuringUpdates : ConfigurationAdminGuarantees, ::testing::WithParamInterface<bool> {
    void stop() {
        if (ofTheFramework()) {
            framework_.Stop();
            framework_.WaitForStop(std::chrono::milliseconds::zero());
        } else {
            bundle_.Stop();
        }
    }
    static bool ofTheFramework() { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(OfBundleAndFramework, StopDuringUpdates, ::testing::Bool());

TEST_P(StopDuringUpdates, CompletesEveryFutureAndDeliversNothingTwice) {
    constexpr int pids = 4;
    std::vector<std::shared_ptr<RecordingService>> services;
    std::vector<std::vector<std::shared_future<void>>> delivered(pids);
    std::atomic<bool> stopped{false};
    std::atomic<int> busy{0};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < pids; ++i) {
        auto const pid = "pid" + std::to_string(i);
        services.push_back(registerService(pid));
        threads.emplace_back([&, i, configuration = admin_->GetConfiguration(pid)] {
            ++busy;
            for (int number = 1; !stopped; ++number) {
                delivered[i].push_back(configuration->Update(numbered(number)));
            }
        });
    }
    while (busy < pids) {
        std::this_thread::yield();
    }
    stop();
    stopped = true;
    for (auto& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < pids; ++i) {
        // Delivered or dropped; one that is forgotten would break its promise.
        for (auto const& future : delivered[i]) {
            ASSERT_TRUE(isReady(future));
            EXPECT_NO_THROW(future.get());
        }
        auto numbers = services[i]->numbers();
        if (!numbers.empty()) { // then it is told last that its configuration is gone
            EXPECT_EQ(numbers.back(), none);
            numbers.pop_back();
        }
        std::vector<int> gapless(numbers.size());
        std::iota(gapless.begin(), gapless.end(), 1);
        EXPECT_EQ(numbers, gapless);
    }
}

TEST_P(StopDuringUpdates, TellsAFactoryThatWhatItKnowsIsGoneAndNothingElse) {
    auto const factory = registerFactory("factory");
    std::atomic<bool> stopped{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, admin = admin_, prefix = std::to_string(thread) + "."] {
            for (int number = 1; !stopped; ++number) {
                admin->GetFactoryConfiguration("factory", prefix + std::to_string(number))
                    ->Update(numbered(number));
            }
        });
    }
    EXPECT_TRUE(factory->calls.reaches(500));
    stop();
    stopped = true;
    for (auto& thread : threads) {
        thread.join();
    }
    std::set<std::string> known;
    for (auto const& [pid, number] : factory->calls.values()) {
        if (number == RecordingFactory::removed) {
            EXPECT_EQ(known.erase(pid), 1U) << pid;
        } else {
            EXPECT_TRUE(known.insert(pid).second) << pid;
        }
    }
    EXPECT_THAT(known, ::testing::IsEmpty());
}

} // namespace configuration_admin_test
