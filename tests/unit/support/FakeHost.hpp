// The host that the unit tests link in place of a real one: it returns what a test gives it and records every
// call.
#ifndef TESTS_UNIT_SUPPORT_FAKE_HOST_HPP
#define TESTS_UNIT_SUPPORT_FAKE_HOST_HPP

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>

namespace agent::spf::frameworksetup::test {

// Every severity.
inline constexpr std::uint32_t allSeverities = 0xFFFFFFFFU;

// Recorded in the call log:
//   getFramework
//   installAndStart <path>
//   installAndStart <path> <filter>
// A hook of the call log at one of them throws, blocks or calls back in the host's place.
//
// Thread safe.
class FakeHost {
public:
    // What getFramework() returns; null at first.
    void setFramework(std::shared_ptr<cppmicroservices::Framework> framework);
    std::shared_ptr<cppmicroservices::Framework> framework() const;

    // What installAndStart() returns for the path, and for the filtered form what it returns first and
    // second. Nothing is installed; that is the test's business.
    void setBundles(std::string const& path, std::vector<cppmicroservices::Bundle> bundles);
    void setBundlesNotStarted(std::string const& path, std::vector<cppmicroservices::Bundle> bundles);
    std::vector<cppmicroservices::Bundle> bundles(std::string const& path) const;
    std::vector<cppmicroservices::Bundle> bundlesNotStarted(std::string const& path) const;

    // A path to which this component is appended throws std::length_error; empty, as at first: none does.
    void setUnfitComponent(std::u16string component);
    std::u16string unfitComponent() const;

    // The mask of every logger; all severities at first.
    void setEnabledSeverities(std::uint32_t mask);
    std::uint32_t enabledSeverities() const;

    // The channels of the loggers that this process has made, in order.
    std::vector<std::string> loggerChannels() const;
    void loggerMade(std::string const& channel);

    // Back to the state at first; the loggers made stay.
    void reset();

private:
    using BundlesByPath = std::map<std::string, std::vector<cppmicroservices::Bundle>>;
    mutable std::mutex mutex_; // guards the members below
    std::shared_ptr<cppmicroservices::Framework> framework_;
    BundlesByPath bundles_;
    BundlesByPath bundlesNotStarted_;
    std::u16string unfitComponent_;
    std::uint32_t enabledSeverities_ = allSeverities;
    std::vector<std::string> loggerChannels_;
};

FakeHost& fakeHost();

} // namespace agent::spf::frameworksetup::test

#endif
