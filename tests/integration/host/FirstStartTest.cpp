// Rules about the first start of a process. Each test runs in a process of its own.
#include <stdexcept>
#include <thread>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "HostTest.hpp"
#include "agent/host/DiagnosticLogger.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

namespace {

using agent::host::getFramework;
using agent::host::Severity;
using host_test::messageOf;
using testing::ElementsAre;
using testing::HasSubstr;

class FirstStart : public host_test::HostTest {};

TEST_F(FirstStart, GetFrameworkStartsTheFrameworkWithConfigurationAdmin) {
    auto const framework = getFramework();

    ASSERT_NE(framework, nullptr);
    EXPECT_EQ(framework->GetState(), cppmicroservices::Bundle::STATE_ACTIVE);
    auto context = framework->GetBundleContext();
    EXPECT_TRUE(context.GetServiceReference<cppmicroservices::service::cm::ConfigurationAdmin>());
}

TEST_F(FirstStart, ThreadsThatAskAtOnceGetOneFrameworkThatIsStartedOnce) {
    installation.addMicroservice("host_test_alpha");
    std::vector<std::shared_ptr<cppmicroservices::Framework>> results(8);
    std::vector<std::thread> threads;
    for (auto& result : results) {
        threads.emplace_back([&result] { result = getFramework(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    ASSERT_NE(results.front(), nullptr);
    EXPECT_THAT(results, testing::Each(results.front()));
    EXPECT_THAT(probe.events(), ElementsAre("start host_test_alpha"));
}

TEST_F(FirstStart, FailedStartIsReportedAndTheNextCallTriesAgain) {
    installation.addMicroservice("host_test_alpha");
    probe.onReport([](std::string const&) { throw std::runtime_error("not today"); });

    EXPECT_THAT(messageOf([] { getFramework(); }), HasSubstr("host_test_alpha"));
    probe.onReport(nullptr);

    ASSERT_NE(getFramework(), nullptr);
    EXPECT_EQ(getFramework()->GetState(), cppmicroservices::Bundle::STATE_ACTIVE);
}

TEST_F(FirstStart, StopBeforeAnyStartPreventsTheStart) {
    agent::host::standalone::stopFramework();

    EXPECT_EQ(getFramework(), nullptr);
}

TEST_F(FirstStart, OnlyWarningsAndWorseAreEnabled) {
    agent::host::DiagnosticLogger const logger("test");

    EXPECT_EQ(logger.enabledSeverities(), static_cast<std::uint32_t>(Severity::Warning) |
                                              static_cast<std::uint32_t>(Severity::Failure) |
                                              static_cast<std::uint32_t>(Severity::Fatal));
}

} // namespace
