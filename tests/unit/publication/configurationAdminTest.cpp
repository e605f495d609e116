// Access to the framework's ConfigurationAdmin service.
#include "publication/configurationAdmin.hpp"

#include <memory>
#include <stdexcept>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/PrototypeServiceFactory.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/HostTest.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::Any;
using cppmicroservices::LDAPFilter;
using cppmicroservices::service::cm::ConfigurationAdmin;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class GetConfigurationAdmin : public HostTest {
protected:
    std::shared_ptr<ConfigurationAdmin> provide(cppmicroservices::ServiceProperties const& properties) {
        auto const admin = std::make_shared<RecordingConfigurationAdmin>();
        framework().GetBundleContext().RegisterService<ConfigurationAdmin>(admin, properties);
        return admin;
    }
};

// Makes a service for each caller.
class Prototype : public cppmicroservices::PrototypeServiceFactory {
public:
    cppmicroservices::InterfaceMapConstPtr
    GetService(cppmicroservices::Bundle const& /*bundle*/,
               cppmicroservices::ServiceRegistrationBase const& /*registration*/) override {
        return cppmicroservices::MakeInterfaceMap<ConfigurationAdmin>(
            std::make_shared<RecordingConfigurationAdmin>());
    }
    void UngetService(cppmicroservices::Bundle const& /*bundle*/,
                      cppmicroservices::ServiceRegistrationBase const& /*registration*/,
                      cppmicroservices::InterfaceMapConstPtr const& /*service*/) override {}
};

TEST_F(GetConfigurationAdmin, ReturnsTheService) {
    auto const admin = provideConfigurationAdmin();
    EXPECT_EQ(getConfigurationAdmin({}), admin);
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(GetConfigurationAdmin, ReturnsNullWithoutAFramework) {
    fakeHost().setFramework(nullptr);
    EXPECT_EQ(getConfigurationAdmin({}), nullptr);
}

TEST_F(GetConfigurationAdmin, ReturnsNullWithoutAService) {
    EXPECT_EQ(getConfigurationAdmin({}), nullptr);
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework"));
}

TEST_F(GetConfigurationAdmin, ReturnsTheFirstServiceTheOneOfTheHighestRanking) {
    using cppmicroservices::Constants::SERVICE_RANKING;
    provide({{SERVICE_RANKING, Any(1)}});
    auto const best = provide({{SERVICE_RANKING, Any(3)}});
    provide({{SERVICE_RANKING, Any(2)}});
    EXPECT_EQ(getConfigurationAdmin({}), best);
}

TEST_F(GetConfigurationAdmin, ReturnsAServiceThatTheFilterAdmits) {
    provide({{"kind", Any(std::string("one"))}});
    auto const other = provide({{"kind", Any(std::string("other"))}});
    EXPECT_EQ(getConfigurationAdmin(LDAPFilter("(kind=other)")), other);
    EXPECT_EQ(getConfigurationAdmin(LDAPFilter("(kind=none)")), nullptr);
}

TEST_F(GetConfigurationAdmin, ReturnsAServiceOfItsOwnEachTimeWhereAFactoryMakesThem) {
    framework().GetBundleContext().RegisterService<ConfigurationAdmin>(
        cppmicroservices::ToFactory(std::make_shared<Prototype>()));
    auto const first = getConfigurationAdmin({});
    auto const second = getConfigurationAdmin({});
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_NE(first, second);
}

TEST_F(GetConfigurationAdmin, ReturnsAServiceThatStaysUsableAfterTheFrameworkStopped) {
    provideConfigurationAdmin();
    auto const admin = getConfigurationAdmin({});
    stopFramework();
    EXPECT_NE(admin->GetConfiguration("pid"), nullptr);
}

TEST_F(GetConfigurationAdmin, ReturnsAServiceThatKeepsItsFrameworkUntilItIsReleased) {
    provideConfigurationAdmin();
    std::weak_ptr<cppmicroservices::Framework> const observer = fakeHost().framework();
    auto admin = getConfigurationAdmin({});
    dropFrameworks();
    EXPECT_FALSE(observer.expired());
    admin.reset();
    EXPECT_TRUE(observer.expired());
}

TEST_F(GetConfigurationAdmin, SaysThatTheContextOfAStoppedFrameworkIsNoLongerValid) {
    provideConfigurationAdmin();
    stopFramework();
    try {
        getConfigurationAdmin({});
        FAIL() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "The bundle context is no longer valid");
    }
}

TEST_F(GetConfigurationAdmin, PassesWhatGettingTheFrameworkThrows) {
    callLog().when("getFramework", [] { throw 42; });
    EXPECT_THROW(getConfigurationAdmin({}), int);
}

} // namespace
} // namespace agent::spf::frameworksetup::test
