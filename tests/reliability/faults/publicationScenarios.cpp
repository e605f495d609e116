// Publishing, modifying and withdrawing configurations; starting the framework's bundles.
#include <chrono>
#include <memory>
#include <optional>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "faults/Scenario.hpp"
#include "model/SPFConfigurationBuilderImpl.hpp"
#include "publication/installAndStartMicroServices.hpp"
#include "support/installationCalls.hpp"
#include "tracking/frameworkEvents.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

constexpr std::chrono::milliseconds atOnce{0};

// build(): whole or not at all. The builder keeps everything or nothing; no listener is left behind.
class Publishing : public Scenario {
public:
    void act() override { handle.emplace(builder.build()); }

    void check(std::exception_ptr const& failure) override {
        EXPECT_EQ(handle.has_value(), !failure);
        expectListeners(failure ? 0 : 1);
        EXPECT_EQ(removals("id"), 0U);
        auto const left = builder.build();
        if (!failure) {
            EXPECT_EQ(handle->getConfigurationID(), "id");
            EXPECT_EQ(handle->getServiceInterfaceConfigurations().size(), 3U);
            EXPECT_EQ(admin->updates().size(), 2U);
        }
        auto const untouched = left.getConfigurationID() == "id";
        EXPECT_TRUE(failure || !untouched);
        EXPECT_EQ(left.getServicePublisherConfigurations().size(), untouched ? 2U : 0U);
        EXPECT_EQ(left.getServiceInterfaceConfigurations().size(), untouched ? 3U : 0U);
    }

private:
    SPFConfigurationBuilder builder = content("id");
    std::optional<SPFConfiguration> handle;
};

// As Publishing, with an ID that ConfigurationAdmin chooses.
class PublishingWithoutAnID : public Scenario {
public:
    void act() override { handle.emplace(builder.build()); }

    void check(std::exception_ptr const& failure) override {
        EXPECT_EQ(handle.has_value(), !failure);
        expectListeners(failure ? 0 : 1);
        if (!failure) {
            EXPECT_EQ(handle->getConfigurationID(), "generated");
        }
    }

private:
    SPFConfigurationBuilder builder = content("");
    std::optional<SPFConfiguration> handle;
};

class LegacyConfiguration : public Scenario {
public:
    void act() override { setupFramework(); }

    void check(std::exception_ptr const& failure) override {
        expectListeners(0);
        EXPECT_EQ(removals("LegacySetupFramework"), 0U);
        EXPECT_TRUE(failure || admin->updates().size() == 1);
    }
};

// modify(), a change and build(). The configuration is always somebody's: the handle's, the builder's, or,
// once its content has gone into a build that failed, nobody's, and stays published.
class Modifying : public Scenario {
public:
    void act() override {
        // Made in place: a builder that is moved may fail to be, and the one that modify() made is dropped
        // then.
        builder.reset(new SPFConfigurationBuilder(handle.modify()));
        builder->addServicePublisher("r", "rpcservicepublisher", {}, {}, {}, {});
        next.emplace(builder->build());
    }

    void check(std::exception_ptr const& failure) override {
        EXPECT_EQ(next.has_value(), !failure);
        EXPECT_EQ(removals("id"), 0U);
        EXPECT_FALSE(handle.waitForAllServices(atOnce, "p")) << "the handle keeps its tracker";
        if (!builder) {
            EXPECT_EQ(handle.getConfigurationID(), "id");
            EXPECT_EQ(handle.getServicePublisherConfigurations().size(), 2U);
            handle.reset();
            EXPECT_EQ(removals("id"), 1U);
            return;
        }
        handle.reset();
        EXPECT_EQ(removals("id"), 0U);
        if (next) {
            EXPECT_EQ(next->getConfigurationID(), "id");
            EXPECT_EQ(next->getServicePublisherConfigurations().size(), 3U);
            next.reset();
            EXPECT_EQ(removals("id"), 1U);
        } else {
            builder.reset();
            EXPECT_LE(removals("id"), 1U) << "withdrawn unless the content has left the builder";
        }
        expectListeners(0);
    }

private:
    SPFConfiguration handle = published("id");
    std::unique_ptr<SPFConfigurationBuilder> builder;
    std::optional<SPFConfiguration> next;
};

// What ends a configuration without a result: none of it throws, and the handles are done with it.
class Withdrawing : public Scenario {
public:
    void act() override {
        first.reset();
        second = SPFConfiguration();
        third.reset();
        builder.reset();
    }

    void check(std::exception_ptr const& failure) override {
        EXPECT_FALSE(failure);
        EXPECT_TRUE(first.empty());
        EXPECT_TRUE(second.empty());
        for (auto const* id : {"first", "second", "third", "fourth"}) {
            EXPECT_LE(removals(id), 1U);
        }
    }

private:
    SPFConfiguration first = published("first");
    SPFConfiguration second = published("second");
    std::optional<SPFConfiguration> third{published("third")};
    SPFConfiguration fourth = published("fourth");
    std::optional<SPFConfigurationBuilder> builder{fourth.modify()};
};

// Withdrawing with a wait: what fails before the withdrawal leaves the configuration published and held; a
// failure of the withdrawal is not thrown; afterwards the handle is detached.
class WithdrawingWithAWait : public Scenario {
public:
    WithdrawingWithAWait() {
        deliver(configurationRemoved("p"));
        deliver(errored(errorWith("reported"), "q")); // all are complete, and the listener is unregistered
    }

    void act() override { removed = handle.waitForAllServicesToBeUnpublished(atOnce, "p"); }

    void check(std::exception_ptr const& failure) override {
        EXPECT_TRUE(failure || removed);
        auto const detached = handle.getConfigurationID().empty();
        EXPECT_TRUE(failure || detached);
        EXPECT_LE(removals("id"), detached ? 1U : 0U);
        EXPECT_TRUE(handle.waitForAllServicesToBeUnpublished(atOnce, "p")) << "the report is kept";
        EXPECT_TRUE(handle.getConfigurationID().empty());
        EXPECT_EQ(registeredListeners(), 0U);
    }

private:
    SPFConfiguration handle = published("id");
    bool removed = false;
};

// The first call installs, the second starts what was installed. One that fails installs again next time.
class StartingUp : public Scenario {
public:
    StartingUp() {
        fakeHost().setBundles("bin/darwinarm64/spf/providers", install(SPF_FAULTS_FIRST_BUNDLE));
        fakeHost().setBundles("bin/darwinarm64/spf/serviceproviders", install(SPF_FAULTS_SECOND_BUNDLE));
    }

    void act() override {
        installAndStartMicroServices();
        installed = true;
        installAndStartMicroServices();
    }

    void check(std::exception_ptr const&) override {
        callLog().forgetCalls();
        installAndStartMicroServices();
        EXPECT_EQ(callLog().callsOf("installAndStart"),
                  installed ? std::vector<std::string>() : installationCalls);
        callLog().forgetCalls();
        installAndStartMicroServices();
        EXPECT_EQ(callLog().callsOf("installAndStart"), std::vector<std::string>());
        for (auto const& bundle : bundles) {
            EXPECT_EQ(bundle.GetState(), cppmicroservices::Bundle::STATE_ACTIVE);
        }
    }

private:
    std::vector<cppmicroservices::Bundle> install(char const* file) {
        auto const installedNow = framework().GetBundleContext().InstallBundles(file);
        bundles.insert(bundles.end(), installedNow.begin(), installedNow.end());
        return installedNow;
    }

    std::vector<cppmicroservices::Bundle> bundles;
    bool installed = false;
};

NamedScenario startingUp() {
    auto result = scenario<StartingUp>("StartingUp");
    result.wrapsExceptions = true;
    return result;
}

} // namespace

std::vector<NamedScenario> publicationScenarios() {
    return {scenario<Publishing>("Publishing"),
            scenario<PublishingWithoutAnID>("PublishingWithoutAnID"),
            scenario<LegacyConfiguration>("LegacyConfiguration"),
            scenario<Modifying>("Modifying"),
            scenario<Withdrawing>("Withdrawing"),
            scenario<WithdrawingWithAWait>("WithdrawingWithAWait"),
            startingUp()};
}

} // namespace agent::spf::frameworksetup::test
