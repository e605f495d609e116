// What the standalone provider promises to threads that do the same things at the same time.
#include "FrameworkFixture.hpp"
#include "waitUntilAsleep.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceTracker.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;

using FrameworkThreads = FrameworkTest;

TEST_F(FrameworkThreads, StartsByTwoThreadsAreReportedOnce) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    auto failing = framework.GetBundleContext().InstallBundles(locationOf("throws_on_start")).at(0);
    EXPECT_THROW(failing.Start(), std::runtime_error);
    std::vector<FrameworkEvent::Type> events;
    std::future<void> other;
    framework.GetBundleContext().AddFrameworkListener([&](FrameworkEvent const& event) {
        events.push_back(event.GetType());
        if (event.GetType() == FrameworkEvent::FRAMEWORK_ERROR && !other.valid()) {
            std::promise<pid_t> starting;
            other = std::async(std::launch::async, [&framework, &starting] {
                starting.set_value(gettid());
                framework.Start();
            });
            waitUntilAsleep(starting.get_future().get());
        }
    });
    framework.Start();
    other.get();
    EXPECT_THAT(events, ElementsAre(FrameworkEvent::FRAMEWORK_ERROR, FrameworkEvent::FRAMEWORK_STARTED));
}

TEST_F(FrameworkThreads, ThatWaitForEachOthersBundlesAreFoundAndOneGetsAnException) {
    auto one = install("recorder");
    auto two = install("manifest_only");
    std::promise<void> oneStarting;
    std::promise<void> twoStarting;
    auto const startOther = [](Bundle other, std::promise<void>& mine, std::promise<void>& others) {
        mine.set_value();
        others.get_future().wait();
        try {
            other.Start();
            return std::string();
        } catch (std::runtime_error const& error) {
            return std::string(error.what());
        }
    };
    std::string ofOne;
    std::string ofTwo;
    context().AddBundleListener([&](BundleEvent const& event) {
        if (event.GetType() != BundleEvent::BUNDLE_STARTING) {
            return;
        }
        if (event.GetBundle() == one) {
            ofOne = startOther(two, oneStarting, twoStarting);
        } else {
            ofTwo = startOther(one, twoStarting, oneStarting);
        }
    });
    auto startingOne = std::async(std::launch::async, [&one] { one.Start(); });
    two.Start();
    startingOne.get();
    EXPECT_EQ(one.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_EQ(two.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_THAT(ofOne + ofTwo,
                testing::EndsWith("cannot change its state: the thread that changes it waits for this one"));
    EXPECT_TRUE(ofOne.empty() || ofTwo.empty());
}

TEST_F(FrameworkThreads, StopWaitsForTheStartThatAnotherThreadIsInWhateverHappensToOtherBundles) {
    auto bundle = install("recorder");
    auto other = install("manifest_only");
    std::promise<pid_t> stopping;
    std::future<void> stopped;
    context().AddBundleListener([&](BundleEvent const& event) {
        if (event.GetType() == BundleEvent::BUNDLE_STARTING && event.GetBundle() == bundle) {
            stopped = std::async(std::launch::async, [&] {
                stopping.set_value(gettid());
                bundle.Stop();
            });
            auto const thread = stopping.get_future().get();
            waitUntilAsleep(thread);
            other.Start();
            waitUntilAsleep(thread);
        }
    });
    bundle.Start();
    stopped.get();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(FrameworkThreads, OneThatHasWaitedForABundleIsNotTakenToWaitForItStill) {
    auto bundle = install("recorder");
    auto other = install("manifest_only");
    auto const here = gettid();
    std::promise<pid_t> stopping;
    std::promise<void> otherStarting;
    std::future<void> done;
    bool again = false;
    context().AddBundleListener([&](BundleEvent const& event) {
        if (event.GetType() != BundleEvent::BUNDLE_STARTING) {
            return;
        }
        if (event.GetBundle() == other) {
            otherStarting.set_value();
            waitUntilAsleep(here);
        } else if (!again) {
            done = std::async(std::launch::async, [&] {
                stopping.set_value(gettid());
                bundle.Stop(); // waits for its start
                other.Start();
            });
            waitUntilAsleep(stopping.get_future().get());
        } else {
            EXPECT_NO_THROW(other.Start()); // waits for its start
        }
    });
    bundle.Start();
    otherStarting.get_future().wait();
    again = true;
    bundle.Start();
    done.get();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(FrameworkThreads, BundleThatIsBeingStoppedIsNotStoppedAgain) {
    auto bundle = start("recorder");
    std::promise<pid_t> stopping;
    context().AddBundleListener([&](BundleEvent const& event) {
        bundleEvents_.add(textOf(event.GetType()) + " " + event.GetBundle().GetSymbolicName());
        if (event.GetBundle() == framework_) {
            stopping.set_value(gettid());
        } else if (event.GetType() == BundleEvent::BUNDLE_STOPPING) {
            framework_.Stop();
            waitUntilAsleep(stopping.get_future().get());
        }
    });
    bundle.Stop();
    stopFramework();
    EXPECT_THAT(bundleEvents_.take(),
                ElementsAre("STOPPING test_recorder", "STOPPING system_bundle", "STOPPED test_recorder"));
}

TEST_F(FrameworkThreads, ThatUnregisterTheSameServiceCauseOneEvent) {
    std::atomic<int> events{0};
    context().AddServiceListener([&events](ServiceEvent const& event) {
        events += event.GetType() == ServiceEvent::SERVICE_UNREGISTERING ? 1 : 0;
    });
    for (int round = 1; round <= 100; ++round) {
        auto const registration = context().RegisterService<int>(std::make_shared<int>());
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([registration = ServiceRegistration<int>(registration)]() mutable {
                try {
                    registration.Unregister();
                } catch (std::logic_error const&) {
                    // Another thread was faster.
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(events, round);
    }
}

// The installed one may sort services by rankings that change meanwhile, and crash.
TEST_F(FrameworkThreads, MayChangeTheRankingsOfServicesOfOneInterface) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([own = context(), thread]() mutable {
            for (int round = 0; round < 500; ++round) {
                auto registration = own.RegisterService<int>(std::make_shared<int>());
                registration.SetProperties({{Constants::SERVICE_RANKING, (round * 31 + thread) % 7}});
                registration.Unregister();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    auto first = context().RegisterService<int>(std::make_shared<int>());
    auto const second = context().RegisterService<int>(std::make_shared<int>());
    EXPECT_TRUE(context().GetServiceReference<int>() == first.GetReference());
    first.SetProperties({{Constants::SERVICE_RANKING, -1}});
    EXPECT_TRUE(context().GetServiceReference<int>() == second.GetReference());
}

TEST_F(FrameworkThreads, FactoryIsCalledByOneThreadAtATimeForOneBundle) {
    struct Counting : ServiceFactory {
        InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
            EXPECT_EQ(++inside, 1);
            std::this_thread::yield();
            --inside;
            return MakeInterfaceMap<int>(std::make_shared<int>());
        }
        void UngetService(Bundle const&, ServiceRegistrationBase const&,
                          InterfaceMapConstPtr const&) override {}
        std::atomic<int> inside{0};
    };
    auto const reference =
        context().RegisterService<int>(ToFactory(std::make_shared<Counting>())).GetReference();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, reference] {
            for (int round = 0; round < 100; ++round) {
                EXPECT_NE(context().GetService(reference), nullptr);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
}

namespace {

// Has a second thread ask for the service while it makes the object for the first one.
class AskedTwice : public ServiceFactory {
public:
    explicit AskedTwice(std::function<std::shared_ptr<int>()> ask)
        : ask_(std::move(ask)) {}

    InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
        if (++made == 1) {
            std::promise<pid_t> asking;
            second = std::async(std::launch::async, [this, &asking] {
                asking.set_value(gettid());
                return ask_();
            });
            waitUntilAsleep(asking.get_future().get());
            then();
        }
        return MakeInterfaceMap<int>(std::make_shared<int>());
    }
    void UngetService(Bundle const&, ServiceRegistrationBase const&, InterfaceMapConstPtr const&) override {
        ++returned;
    }

    std::atomic<int> made{0};
    std::atomic<int> returned{0};
    std::future<std::shared_ptr<int>> second;
    std::function<void()> then = [] {};

private:
    std::function<std::shared_ptr<int>()> const ask_;
};

} // namespace

TEST_F(FrameworkThreads, ThatGetAServiceAtTheSameTimeShareOneObject) {
    ServiceReference<int> reference;
    auto const factory = std::make_shared<AskedTwice>([&] { return context().GetService(reference); });
    reference = context().RegisterService<int>(ToFactory(factory)).GetReference();
    auto first = context().GetService(reference);
    auto second = factory->second.get();
    EXPECT_EQ(first, second);
    EXPECT_EQ(factory->made, 1);
    first.reset();
    EXPECT_EQ(factory->returned, 0);
    second.reset();
    EXPECT_EQ(factory->returned, 1);
}

TEST_F(FrameworkThreads, ThatWaitForAServiceDoNotAskItsFactoryOnceItIsUnregistered) {
    ServiceReference<int> reference;
    auto const factory = std::make_shared<AskedTwice>([&] { return context().GetService(reference); });
    auto registration = context().RegisterService<int>(ToFactory(factory));
    reference = registration.GetReference();
    factory->then = [&registration] { registration.Unregister(); };
    EXPECT_EQ(context().GetService(reference), nullptr);
    EXPECT_EQ(factory->second.get(), nullptr);
    EXPECT_EQ(factory->made, 1);
    EXPECT_EQ(factory->returned, 1);
}

TEST_F(FrameworkThreads, CustomizerIsNotCalledAfterItsTrackerIsClosed) {
    struct Customizer : ServiceTrackerCustomizer<int> {
        std::shared_ptr<int> AddingService(ServiceReference<int> const&) override {
            late += open ? 0 : 1;
            return std::make_shared<int>(1);
        }
        void ModifiedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {}
        void RemovedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {
            late += open ? 0 : 1;
        }
        std::atomic<bool> open{false};
        std::atomic<int> late{0};
    } customizer;
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([&done, own = context()]() mutable {
            while (!done) {
                own.RegisterService<int>(std::make_shared<int>(1)).Unregister();
            }
        });
    }
    for (int round = 0; round < 1000; ++round) {
        ServiceTracker<int> tracker(context(), &customizer);
        customizer.open = true;
        tracker.Open();
        tracker.Close();
        customizer.open = false;
        std::this_thread::yield();
    }
    done = true;
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(customizer.late, 0);
}

TEST_F(FrameworkThreads, EndlessTimeOutsDoNotOverflow) {
    ServiceTracker<int> tracker(context());
    tracker.Open();
    std::promise<pid_t> thread;
    auto waiting = std::async(std::launch::async, [&] {
        thread.set_value(gettid());
        return tracker.WaitForService(std::chrono::hours::max()) != nullptr;
    });
    waitUntilAsleep(thread.get_future().get());
    auto const registration = context().RegisterService<int>(std::make_shared<int>());
    EXPECT_TRUE(waiting.get());
}
