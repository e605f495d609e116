// Bundles that run out of memory while they are installed, start or stop. Only the standalone provider
// promises what becomes of them then.
#include "FrameworkFixture.hpp"
#include "bundles/TestService.hpp"
#include "failEachAllocation.hpp"
#include "support/AllocationFailure.hpp"

#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/ServiceTracker.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

using namespace cppmicroservices;
using agent::spf::frameworksetup::test::AllocationFailure;
using agent::spf::frameworksetup::test::liveAllocations;
using testing::IsEmpty;

namespace {

class Other : public testbundles::TestService {
public:
    int answer() const override { return 43; }
};

class Factory : public ServiceFactory {
public:
    InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
        InterfaceMapConstPtr object = MakeInterfaceMap<testbundles::TestService>(std::make_shared<Other>());
        ++made;
        return object;
    }
    void UngetService(Bundle const&, ServiceRegistrationBase const&, InterfaceMapConstPtr const&) override {
        ++returned;
    }

    int made = 0;
    int returned = 0;
};

// Has one object for all services, and counts how often it gives that and gets it back.
struct CountingCustomizer : ServiceTrackerCustomizer<testbundles::TestService> {
    using Reference = ServiceReference<testbundles::TestService>;
    using Object = std::shared_ptr<testbundles::TestService>;
    Object AddingService(Reference const&) override {
        ++given;
        return object;
    }
    void ModifiedService(Reference const&, Object const&) override {}
    void RemovedService(Reference const&, Object const&) override { ++givenBack; }

    Object const object = std::make_shared<Other>();
    int given = 0;
    int givenBack = 0;
};

class MemoryFaults : public FrameworkTest, public testing::WithParamInterface<AllocationFailure::Duration> {
protected:
    // Starts the bundle and has it add and use one of each kind.
    void startAndUse(Bundle& bundle) {
        bundle.Start();
        auto context = bundle.GetBundleContext();
        context.AddServiceListener([this](ServiceEvent const&) { ++heard_; });
        context.AddServiceListener([this](ServiceEvent const&) { ++heard_; },
                                   "(objectclass=testbundles.TestService/1)");
        context.AddBundleListener([this](BundleEvent const&) { ++heard_; });
        context.AddFrameworkListener([this](FrameworkEvent const&) { ++heard_; });
        held_ = context.GetService(made_.GetReference<testbundles::TestService>());
        tracker_ = std::make_unique<ServiceTracker<testbundles::TestService>>(context);
        tracker_->Open();
    }

    template <class Call>
    bool runsOutOfMemoryAt(std::size_t n, Call const& call) {
        return ::runsOutOfMemoryAt(n, GetParam(), call);
    }

    // As above, of a tracker that opens. Each object that the customizer gives is tracked or given back.
    bool openRunsOutOfMemoryAt(std::size_t n, CountingCustomizer& customizer) {
        ServiceTracker<testbundles::TestService> tracker(context_, &customizer);
        auto const failed = runsOutOfMemoryAt(n, [&] {
            try {
                tracker.Open();
            } catch (std::bad_alloc const&) {
            }
        });
        EXPECT_EQ(customizer.given, tracker.Size() + customizer.givenBack);
        return failed;
    }

    BundleContext context_ = framework_.GetBundleContext();
    std::shared_ptr<Factory> const factory_ = std::make_shared<Factory>();
    ServiceRegistration<testbundles::TestService> const made_ =
        context_.RegisterService<testbundles::TestService>(ToFactory(factory_));
    std::shared_ptr<testbundles::TestService> held_;
    std::unique_ptr<ServiceTracker<testbundles::TestService>> tracker_;
    int heard_ = 0;
};

} // namespace

TEST_P(MemoryFaults, WhicheverAllocationFailsTheBundleIsStopped) {
    auto bundle = context_.InstallBundles(locationOf("registers_service")).at(0);
    auto const count = failEachAllocation([&](std::size_t n) {
        startAndUse(bundle);
        auto const failed = runsOutOfMemoryAt(n, [&] { bundle.Stop(); });
        EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
        EXPECT_THAT(bundle.GetRegisteredServices(), IsEmpty());
        EXPECT_THAT(made_.GetReference().GetUsingBundles(), IsEmpty());
        EXPECT_EQ(factory_->returned, n);
        EXPECT_FALSE(bundle.GetBundleContext());
        tracker_.reset();
        heard_ = 0;
        context_.RegisterService<testbundles::TestService>(std::make_shared<Other>()).Unregister();
        EXPECT_EQ(heard_, 0);
        return failed;
    });
    EXPECT_GT(count, 2U);
}

TEST_P(MemoryFaults, AnInstallationThatRunsOutOfMemoryLeavesNothing) {
    auto const before = context_.GetBundles().size();
    auto const count = failEachAllocation([&](std::size_t n) {
        std::vector<Bundle> installed;
        auto const failed = runsOutOfMemoryAt(n, [&] {
            try {
                installed = context_.InstallBundles(locationOf("registers_service"));
            } catch (std::exception const&) {
            }
        });
        EXPECT_EQ(context_.GetBundles().size(), before + installed.size());
        EXPECT_TRUE(failed || installed.size() == 1);
        for (auto& bundle : installed) {
            bundle.Uninstall();
        }
        return failed;
    });
    EXPECT_GT(count, 10U);
}

TEST_P(MemoryFaults, ARegistrationThatRunsOutOfMemoryLeavesNothing) {
    auto const object = std::make_shared<int>();
    auto const service = std::make_shared<InterfaceMap const>(InterfaceMap{{"a", object}, {"b", object}});
    auto const count = failEachAllocation([&](std::size_t n) {
        ServiceRegistrationU registration;
        auto const failed = runsOutOfMemoryAt(n, [&] {
            try {
                registration = context_.RegisterService(service);
            } catch (std::bad_alloc const&) {
            }
        });
        std::size_t const registered = registration ? 1 : 0;
        EXPECT_EQ(context_.GetServiceReferences("").size(), 1 + registered); // made_ is one
        EXPECT_EQ(context_.GetServiceReferences("a").size(), registered);
        EXPECT_EQ(context_.GetServiceReferences("b").size(), registered);
        if (registration) {
            registration.Unregister();
        }
        return failed;
    });
    EXPECT_GT(count, 10U);
}

TEST_P(MemoryFaults, AListenerThatCouldNotBeAddedForLackOfMemoryHearsNothing) {
    for (std::string const filter : {"", "(objectclass=int)"}) {
        failEachAllocation([&](std::size_t n) {
            int told = 0;
            ListenerToken token;
            auto const failed = runsOutOfMemoryAt(n, [&] {
                try {
                    token = context_.AddServiceListener([&told](ServiceEvent const&) { ++told; }, filter);
                } catch (std::bad_alloc const&) {
                }
            });
            context_.RegisterService<int>(std::make_shared<int>()).Unregister();
            EXPECT_EQ(told, token ? 2 : 0);
            context_.RemoveListener(std::move(token));
            return failed;
        });
    }
}

TEST_P(MemoryFaults, AStartThatRunsOutOfMemoryLeavesNothing) {
    auto bundle = context_.InstallBundles(locationOf("registers_service")).at(0);
    auto const count = failEachAllocation([&](std::size_t n) {
        auto const failed = runsOutOfMemoryAt(n, [&] {
            try {
                bundle.Start();
            } catch (std::exception const&) {
            }
        });
        if (bundle.GetState() == Bundle::STATE_ACTIVE) {
            EXPECT_EQ(bundle.GetRegisteredServices().size(), 1U);
            bundle.Stop();
        } else {
            EXPECT_TRUE(failed);
        }
        EXPECT_EQ(bundle.GetState() & (Bundle::STATE_INSTALLED | Bundle::STATE_RESOLVED), bundle.GetState());
        EXPECT_FALSE(bundle.GetBundleContext());
        EXPECT_EQ(context_.GetServiceReferences<testbundles::TestService>().size(), 1U); // made_
        return failed;
    });
    EXPECT_GT(count, 10U);
}

TEST_P(MemoryFaults, AnObjectThatCannotBeHandedOutIsGivenBackToItsFactory) {
    auto const reference = made_.GetReference<testbundles::TestService>();
    auto const objects = context_.GetServiceObjects(reference);
    auto const eachFails = [&](auto const& get) {
        auto const count = failEachAllocation([&](std::size_t n) {
            auto const failed = runsOutOfMemoryAt(n, [&] {
                try {
                    get();
                } catch (std::bad_alloc const&) {
                }
            });
            EXPECT_EQ(factory_->returned, factory_->made);
            return failed;
        });
        EXPECT_GT(count, 5U);
    };
    eachFails([&] { context_.GetService(reference); });
    eachFails([&] { objects.GetService(); });
}

TEST_P(MemoryFaults, AnObjectIsGivenBackToAFactoryThatThrowsWhicheverAllocationFails) {
    class Throwing : public Factory {
        void UngetService(Bundle const&, ServiceRegistrationBase const&,
                          InterfaceMapConstPtr const&) override {
            ++returned;
            throw std::runtime_error("a factory that is given back what it made");
        }
    };
    context_.AddFrameworkListener([this](FrameworkEvent const&) { ++heard_; });
    auto const factory = std::make_shared<Throwing>();
    ServiceRegistration<testbundles::TestService> registration;
    auto const eachReturns = [&](auto const& giveBack) {
        auto const count = failEachAllocation([&](std::size_t n) {
            registration = context_.RegisterService<testbundles::TestService>(ToFactory(factory));
            held_ = context_.GetService(registration.GetReference<testbundles::TestService>());
            auto const failed = runsOutOfMemoryAt(n, giveBack);
            EXPECT_EQ(factory->returned, factory->made);
            held_.reset();
            return failed;
        });
        EXPECT_GT(count, 3U);
    };
    eachReturns([this] { held_.reset(); });
    eachReturns([&] { registration.Unregister(); });
    EXPECT_GT(heard_, 0);
}

TEST_P(MemoryFaults, AFactoryThatHasThrownIsAskedAgainWhicheverAllocationFailed) {
    struct Throwing : ServiceFactory {
        InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
            ++asked;
            throw std::runtime_error("a factory that makes nothing");
        }
        void UngetService(Bundle const&, ServiceRegistrationBase const&,
                          InterfaceMapConstPtr const&) override {}
        int asked = 0;
    };
    auto const factory = std::make_shared<Throwing>();
    auto const reference = context_.RegisterService<testbundles::TestService>(ToFactory(factory))
                               .GetReference<testbundles::TestService>();
    auto const count = failEachAllocation([&](std::size_t n) {
        auto const failed = runsOutOfMemoryAt(n, [&] {
            try {
                EXPECT_FALSE(context_.GetService(reference));
            } catch (std::bad_alloc const&) {
            }
        });
        factory->asked = 0;
        EXPECT_FALSE(context_.GetService(reference));
        EXPECT_EQ(factory->asked, 1);
        return failed;
    });
    EXPECT_GT(count, 3U);
}

TEST_P(MemoryFaults, ATrackerIsClosedWhicheverAllocationFails) {
    failEachAllocation([&](std::size_t n) {
        ServiceTracker<testbundles::TestService> tracker(context_);
        tracker.Open();
        EXPECT_TRUE(tracker.GetService());
        auto const failed = runsOutOfMemoryAt(n, [&] { tracker.Close(); });
        EXPECT_FALSE(tracker.GetService());
        EXPECT_EQ(factory_->returned, n);
        return failed;
    });
}

TEST_P(MemoryFaults, AnObjectThatACustomizerHasGivenIsTrackedOrGivenBackWhicheverAllocationFails) {
    failEachAllocation([&](std::size_t n) {
        CountingCustomizer customizer;
        return openRunsOutOfMemoryAt(n, customizer);
    });
}

TEST_P(MemoryFaults, ListenersAreToldWhateverHappensToAServiceWhicheverAllocationFails) {
    int told = 0;
    auto const hear = [&told](ServiceEvent const&) { ++told; };
    context_.AddServiceListener(hear);
    context_.AddServiceListener(hear, "(objectclass=testbundles.TestService/1)");
    ServiceRegistration<testbundles::TestService> registration;
    auto const eachTells = [&](auto const& prepare, auto const& change) {
        failEachAllocation([&](std::size_t n) {
            prepare();
            auto newest = context_.AddServiceListener(hear); // no earlier delivery was to this one
            told = 0;
            auto happened = true;
            auto const failed = runsOutOfMemoryAt(n, [&] {
                try {
                    change();
                } catch (std::bad_alloc const&) {
                    happened = false;
                }
            });
            EXPECT_EQ(told, happened ? 3 : 0);
            context_.RemoveListener(std::move(newest));
            return failed;
        });
    };
    auto const service = std::make_shared<Other>();
    auto const make = [&] { registration = context_.RegisterService<testbundles::TestService>(service); };
    ServiceProperties const properties{{"key", Any(1)}};

    eachTells([] {}, make);
    eachTells([] {}, [&] { registration.SetProperties(properties); });
    eachTells(make, [&] { registration.Unregister(); });
}

TEST_P(MemoryFaults, ListenersAreToldInTheSameOrderWhicheverAllocationFails) {
    std::vector<int> told;
    told.reserve(6); // by listeners that need no memory
    std::string const interfaceOnly = "(objectclass=testbundles.TestService/1)";
    std::string const more = "(service.id>=0)";
    failEachAllocation([&](std::size_t n) {
        std::vector<ListenerToken> tokens;
        auto const add = [&](int number, std::string const& filter) {
            tokens.push_back(context_.AddServiceListener(
                [&told, number](ServiceEvent const&) { told.push_back(number); }, filter));
        };
        add(1, "");
        add(2, interfaceOnly);
        add(3, "(&" + interfaceOnly + more + ")");
        add(4, more);
        add(5, interfaceOnly);
        add(6, "");
        ServiceRegistration<testbundles::TestService> registration;
        auto const failed = runsOutOfMemoryAt(n, [&] {
            try {
                registration = context_.RegisterService<testbundles::TestService>(std::make_shared<Other>());
            } catch (std::bad_alloc const&) {
            }
        });
        if (registration) {
            EXPECT_THAT(told, testing::ElementsAre(5, 2, 6, 4, 3, 1));
            registration.Unregister();
        }
        for (auto& token : tokens) {
            context_.RemoveListener(std::move(token));
        }
        told.clear();
        return failed;
    });
}

TEST_P(MemoryFaults, AnObjectIsTrackedOrGivenBackWhicheverAllocationFailsWhileOthersAreAdded) {
    constexpr std::size_t others = 20;
    struct Customizer : CountingCustomizer {
        explicit Customizer(BundleContext const& context)
            : context_(context) {
            registrations.reserve(others);
        }
        Object AddingService(Reference const& reference) override {
            if (++asked <= others) {
                registrations.push_back(
                    context_.RegisterService<testbundles::TestService>(std::make_shared<Other>()));
            }
            return CountingCustomizer::AddingService(reference);
        }

        BundleContext context_;
        std::size_t asked = 0;
        std::vector<ServiceRegistration<testbundles::TestService>> registrations;
    };
    failEachAllocation([&](std::size_t n) {
        Customizer customizer(context_);
        auto const failed = openRunsOutOfMemoryAt(n, customizer);
        for (auto& registration : customizer.registrations) {
            registration.Unregister();
        }
        return failed;
    });
}

INSTANTIATE_TEST_SUITE_P(Durations, MemoryFaults,
                         testing::Values(AllocationFailure::Duration::Once,
                                         AllocationFailure::Duration::Lasting),
                         [](auto const& duration) {
                             return duration.param == AllocationFailure::Duration::Once ? "Once" : "Lasting";
                         });

namespace {

class TrackerMemory : public FrameworkTest {
protected:
    // How many more blocks there are after the call, when it has been called before.
    template <class Call>
    static std::ptrdiff_t growthBy(Call const& call) {
        call();
        auto const before = liveAllocations();
        call();
        return static_cast<std::ptrdiff_t>(liveAllocations() - before);
    }
};

} // namespace

TEST_F(TrackerMemory, OpenTrackerKeepsNothingOfServicesThatAreGone) {
    ServiceTracker<testbundles::TestService> tracker(context());
    tracker.Open();
    EXPECT_EQ(growthBy([this] {
                  context().RegisterService<testbundles::TestService>(std::make_shared<Other>()).Unregister();
              }),
              0);
}

TEST_F(TrackerMemory, ClosedTrackerKeepsNothing) {
    ServiceTracker<testbundles::TestService> tracker(context());
    EXPECT_EQ(growthBy([&tracker] {
                  tracker.Open();
                  tracker.Close();
              }),
              0);
}
