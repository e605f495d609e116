// A framework that runs as long as the object lives, and the test bundles.
#ifndef TESTS_MICROSERVICES_RANDOM_STARTED_FRAMEWORK_HPP
#define TESTS_MICROSERVICES_RANDOM_STARTED_FRAMEWORK_HPP

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <string>
#include <utility>

namespace randomised {

class StartedFramework {
public:
    explicit StartedFramework(cppmicroservices::FrameworkConfiguration configuration = {})
        : framework_(cppmicroservices::FrameworkFactory().NewFramework(std::move(configuration))) {
        framework_.Start();
    }
    StartedFramework(StartedFramework const&) = delete;
    StartedFramework& operator=(StartedFramework const&) = delete;
    ~StartedFramework() {
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero()); // without a limit
    }

    cppmicroservices::BundleContext context() const { return framework_.GetBundleContext(); }

    cppmicroservices::Bundle bundle() const { return framework_; }

    cppmicroservices::Bundle install(std::string const& name) const {
        return context().InstallBundles(SPF_TEST_BUNDLE_DIRECTORY "/test_" + name + ".so").at(0);
    }

private:
    cppmicroservices::Framework framework_;
};

} // namespace randomised

#endif
