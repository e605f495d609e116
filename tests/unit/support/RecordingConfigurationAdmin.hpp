// A ConfigurationAdmin that records what is asked of it and does nothing else.
#ifndef TESTS_UNIT_SUPPORT_RECORDING_CONFIGURATION_ADMIN_HPP
#define TESTS_UNIT_SUPPORT_RECORDING_CONFIGURATION_ADMIN_HPP

#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

namespace agent::spf::frameworksetup::test {

// Recorded in the call log:
//   CreateFactoryConfiguration <factory PID>
//   GetFactoryConfiguration <factory PID> <instance name>
//   GetPid <PID>
//   Update <PID>
//   Remove <PID>
// and likewise every operation that the library does not use. A hook of the call log makes any of them throw.
// The futures that it returns never become ready: whoever waits for one hangs.
//
// Thread safe. (None of the operations says `override`: which there are differs between releases of the
// interface.)
class RecordingConfigurationAdmin : public cppmicroservices::service::cm::ConfigurationAdmin,
                                    public std::enable_shared_from_this<RecordingConfigurationAdmin> {
public:
    using Configuration = cppmicroservices::service::cm::Configuration;
    struct Update {
        std::string pid;
        cppmicroservices::AnyMap properties;
    };

    // The PID of the configurations that CreateFactoryConfiguration() makes; "qo.spf.framework~generated" at
    // first.
    void setPIDToGenerate(std::string pid);

    // The maps that were handed over with Update(), in order.
    std::vector<Update> updates() const;

    // What the call log holds of this ConfigurationAdmin and its configurations.
    std::vector<std::string> calls() const;
    void forgetCalls();

    std::shared_ptr<Configuration> GetConfiguration(std::string const& pid);
    std::shared_ptr<Configuration> CreateFactoryConfiguration(std::string const& factoryPid);
    std::shared_ptr<Configuration> GetFactoryConfiguration(std::string const& factoryPid,
                                                           std::string const& instanceName);
    std::vector<std::shared_ptr<Configuration>> ListConfigurations(std::string const& filter = {});

private:
    class RecordingConfiguration;

    void record(std::string const& call);
    std::shared_future<void> neverReady();

    mutable std::mutex mutex_; // guards the members below
    std::string pidToGenerate_ = "qo.spf.framework~generated";
    std::vector<Update> updates_;
    std::vector<std::string> calls_;
    std::vector<std::promise<void>> promises_; // kept, and never fulfilled
};

} // namespace agent::spf::frameworksetup::test

#endif
