// Publishes a configuration, waits for it and withdraws it, on a thread of its own.
#ifndef AGENT_PROGRAM_RUN_CONFIGURATION_DRIVER_HPP
#define AGENT_PROGRAM_RUN_CONFIGURATION_DRIVER_HPP

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "configuration/ConfigurationFile.hpp"
#include "run/Message.hpp"

namespace agent::program {

// Starts the framework, publishes, and waits until every publisher is ready or withdraw() is called;
// withdraws; and stops the framework when finish() is called. The calls of the library and the framework may
// block, which must not keep the main thread from answering an interrupt.
//
// Messages, in order: ConfigurationPublished, then ConfigurationReady or ConfigurationFailed or, when
// withdraw() came first, OutstandingEndpoints; after withdraw() ConfigurationWithdrawn; after finish()
// FrameworkStopped. If starting or publishing fails, only ConfigurationFailed and, without being asked,
// FrameworkStopped.
class ConfigurationDriver {
public:
    // `removalTimeout` bounds the library's wait for the removal to be reported.
    ConfigurationDriver(ConfigurationFile configuration, std::chrono::milliseconds removalTimeout,
                        MessageBox& messages);

    // Waits for the thread, which ends after FrameworkStopped.
    ~ConfigurationDriver();

    ConfigurationDriver(ConfigurationDriver const&) = delete;
    ConfigurationDriver& operator=(ConfigurationDriver const&) = delete;

    // Ask for the withdrawal, and for the end. They do not block. Thread safe.
    void withdraw() { request(Request::Withdraw); }
    void finish() { request(Request::Finish); }

private:
    enum class Request { None, Withdraw, Finish }; // each includes those before it
    using SPFConfiguration = spf::frameworksetup::SPFConfiguration;

    void run();
    void drive();
    void awaitReadiness(SPFConfiguration& published);
    bool becameReady(SPFConfiguration& published, std::vector<std::string>& pending);
    void reportOutstanding(SPFConfiguration& published);
    void withdraw(SPFConfiguration& published);
    void request(Request request);
    bool requested(Request request);
    void waitFor(Request request);

    ConfigurationFile const configuration_;
    std::chrono::milliseconds const removalTimeout_;
    MessageBox& messages_;

    std::mutex mutex_; // guards request_
    std::condition_variable requestMade_;
    Request request_ = Request::None;

    std::thread thread_;
};

} // namespace agent::program

#endif
