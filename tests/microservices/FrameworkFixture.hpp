// A started framework, the test bundles, and recorders of its events.
#ifndef TESTS_MICROSERVICES_FRAMEWORK_FIXTURE_HPP
#define TESTS_MICROSERVICES_FRAMEWORK_FIXTURE_HPP

#include "bundles/Recording.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// Long enough for whatever is waited for on a busy machine; a test that gets that far has failed.
constexpr std::chrono::milliseconds failureTimeout = std::chrono::seconds(30);

// Collects texts from any thread.
class TextRecorder {
public:
    void add(std::string text) {
        std::lock_guard const lock(mutex_);
        texts_.push_back(std::move(text));
    }
    std::vector<std::string> take() {
        std::lock_guard const lock(mutex_);
        return std::exchange(texts_, {});
    }

private:
    std::mutex mutex_;
    std::vector<std::string> texts_;
};

template <class Value>
std::string textOf(Value const& value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

inline std::string textOf(std::exception_ptr const& error) {
    try {
        std::rethrow_exception(error);
    } catch (std::exception const& exception) {
        return exception.what();
    }
}

// What the exception of the type `Error` says that `function` throws.
template <class Error, class Function>
std::string messageOf(Function const& function) {
    try {
        function();
    } catch (Error const& error) {
        return error.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

class FrameworkTest : public testing::Test {
protected:
    FrameworkTest() { framework_.Start(); }
    ~FrameworkTest() override { stopFramework(); }

    void stopFramework() {
        framework_.Stop();
        EXPECT_NE(framework_.WaitForStop(failureTimeout).GetType(),
                  cppmicroservices::FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
    }

    cppmicroservices::BundleContext context() const { return framework_.GetBundleContext(); }

    static std::string locationOf(std::string const& name) {
        return std::string(SPF_TEST_BUNDLE_DIRECTORY) + "/test_" + name + ".so";
    }
    cppmicroservices::Bundle install(std::string const& name) const {
        return context().InstallBundles(locationOf(name)).at(0);
    }
    cppmicroservices::Bundle start(std::string const& name) const {
        auto bundle = install(name);
        bundle.Start();
        return bundle;
    }

    // "TYPE NAME" of each bundle event from now on.
    void recordBundleEvents() {
        context().AddBundleListener([this](cppmicroservices::BundleEvent const& event) {
            bundleEvents_.add(textOf(event.GetType()) + " " + event.GetBundle().GetSymbolicName());
        });
    }
    // "TYPE NAME message: exception" of each framework event from now on.
    void recordFrameworkEvents() {
        context().AddFrameworkListener([this](cppmicroservices::FrameworkEvent const& event) {
            auto const error = event.GetThrowable();
            frameworkEvents_.add(textOf(event.GetType()) + " " + event.GetBundle().GetSymbolicName() + " " +
                                 event.GetMessage() + ": " + (error ? textOf(error) : "none"));
        });
    }
    // "TYPE x" of each service event from now on, with the property "x" of its service.
    cppmicroservices::ListenerToken recordServiceEvents(std::string const& filter = {}) {
        return context().AddServiceListener(
            [this](cppmicroservices::ServiceEvent const& event) {
                auto const x = event.GetServiceReference().GetProperty("x");
                serviceEvents_.add(textOf(event.GetType()) + " " + (x.Empty() ? "-" : x.ToString()));
            },
            filter);
    }

    TextRecorder records_; // of the bundles
    TextRecorder bundleEvents_;
    TextRecorder frameworkEvents_;
    TextRecorder serviceEvents_;
    cppmicroservices::Framework framework_ =
        cppmicroservices::FrameworkFactory().NewFramework(cppmicroservices::FrameworkConfiguration{
            {testbundles::recordProperty,
             testbundles::Record([this](std::string const& text) { records_.add(text); })},
            {testbundles::otherBundleProperty, locationOf("recorder")}});
};

#endif
