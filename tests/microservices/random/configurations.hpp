// What is told of configurations, and random PIDs, properties and filters, for random operations on
// Configuration Admin.
#ifndef TESTS_MICROSERVICES_RANDOM_CONFIGURATIONS_HPP
#define TESTS_MICROSERVICES_RANDOM_CONFIGURATIONS_HPP

#include "CallLog.hpp"
#include "Random.hpp"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/cm/ConfigurationListener.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include <cstddef>
#include <functional>
#include <future>
#include <mutex>
#include <string>

namespace randomised {

// Such that two meet often; in the form of a factory's instance or not.
std::string randomPid(Random& random);
// Without the separator that its instances have: the installed provider crashes after the removal of what
// was created for such a factory.
std::string randomFactoryPid(Random& random);

// Without an empty value: the installed provider crashes when it compares it.
cppmicroservices::AnyMap randomConfiguration(Random& random);

// Of what randomConfiguration() and randomPid() give; possibly empty or malformed.
std::string randomConfigurationFilter(Random& random);

// Mostly with a PID, in one of the ways in which a service can have one, or as if it had one.
cppmicroservices::ServiceProperties randomTargetProperties(Random& random);

// The PID by which Configuration Admin knows a service of these properties when it appears, or nothing.
std::string targetPid(cppmicroservices::ServiceProperties const& properties);

// A service that is told of configurations: writes it down, may do something about it, and may throw.
class Target : public cppmicroservices::service::cm::ManagedService,
               public cppmicroservices::service::cm::ManagedServiceFactory,
               public cppmicroservices::service::cm::ConfigurationListener {
public:
    // Gets the PID, and returns what it has done.
    using Action = std::function<std::string(std::string const& pid)>;
    // A PID as the transcript shows it.
    using Names = std::function<std::string(std::string const& pid)>;

    Target(std::string name, bool fails, Names names, Action action, CallLog& calls);

    std::string const& name() const { return name_; }

    // Ready when the target has been called so many times from now on.
    std::shared_future<void> expect(std::size_t calls);

    void Updated(cppmicroservices::AnyMap const& properties) override;
    void Updated(std::string const& pid, cppmicroservices::AnyMap const& properties) override;
    void Removed(std::string const& pid) override;
    void configurationEvent(cppmicroservices::service::cm::ConfigurationEvent const& event) override;

    // A managed service is not told its PID.
    std::string ownPid;

private:
    class Call;
    void told(std::string const& pid, std::string const& text, bool mayFail);

    std::string const name_;
    bool const fails_;
    Names const names_;
    Action const action_;
    CallLog& calls_;
    std::mutex mutex_; // guards what follows
    std::size_t expected_ = 0;
    std::promise<void> reached_;
};

} // namespace randomised

#endif
