// Publishes a configuration, waits for it and withdraws it, on a thread of its own.
#ifndef AGENT_PROGRAM_RUN_CONFIGURATION_DRIVER_HPP
#define AGENT_PROGRAM_RUN_CONFIGURATION_DRIVER_HPP

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "configuration/ConfigurationFile.hpp"
#include "run/Message.hpp"

namespace agent::program {

// Starts the framework and publishes; publishes the next version whenever one is given with apply();
// withdraws when withdraw() is called, and stops the framework when finish() is. The calls of the library and
// the framework may block, which must not keep the main thread from answering an interrupt.
//
// Messages, in order: for every version ConfigurationPublished, then ConfigurationReady or
// ConfigurationFailed unless something else was asked for first; after withdraw() ConfigurationWithdrawn;
// after finish() FrameworkStopped. If starting or publishing fails, ConfigurationFailed and, without being
// asked, FrameworkStopped.
//
// A version that was given before withdraw() is published before it is withdrawn: whoever gave it waits for
// its publishers to be removed.
class ConfigurationDriver {
public:
    // Bounds the library's wait for the removal to be reported.
    static constexpr std::chrono::seconds removalTimeout{8};

    ConfigurationDriver(ConfigurationFile configuration, MessageBox& messages);

    // Waits for the thread, which ends after FrameworkStopped. Nobody may take messages any more.
    ~ConfigurationDriver();

    ConfigurationDriver(ConfigurationDriver const&) = delete;
    ConfigurationDriver& operator=(ConfigurationDriver const&) = delete;

    // They do not block. Of versions that are given while another is being published, the last one counts.
    // apply() returns the modification count with which the version is published. Thread safe.
    std::uint32_t apply(ConfigurationFile next);
    void withdraw() { request(Request::Withdraw); }
    void finish() { request(Request::Finish); }

private:
    enum class Request { None, Withdraw, Finish }; // each includes those before it
    using SPFConfiguration = spf::frameworksetup::SPFConfiguration;
    struct Version {
        ConfigurationFile configuration;
        std::uint32_t modificationCount;
    };

    void drive();
    void awaitReadiness(SPFConfiguration& published);
    static bool becameReady(SPFConfiguration& published, std::vector<std::string>& pending);
    void withdraw(SPFConfiguration& published);

    void request(Request request);
    bool isAskedForSomethingWithLock() const { return request_ != Request::None || next_; }
    bool isAskedForSomething();
    std::optional<Version> waitForNextVersion();
    void waitForFinish();

    Version current_; // used by the thread only
    MessageBox& messages_;

    std::mutex mutex_; // guards request_, next_ and lastCount_
    std::condition_variable requestMade_;
    Request request_ = Request::None;
    std::optional<Version> next_;
    std::uint32_t lastCount_ = 1; // that a version was given

    std::thread thread_;
};

} // namespace agent::program

#endif
