// The agent with the fixed legacy configuration: set up the framework, and stay.
#ifndef AGENT_PROGRAM_RUN_LEGACY_SESSION_HPP
#define AGENT_PROGRAM_RUN_LEGACY_SESSION_HPP

#include <future>
#include <thread>
#include <vector>

#include "progress/Narrator.hpp"
#include "run/Message.hpp"

namespace agent::program {

// Calls setupFramework() on a thread of its own and shows what becomes of it. The library publishes the
// legacy configuration for good: it ends with the framework.
class LegacySession {
public:
    LegacySession(Narrator& narrator, MessageBox& messages);
    ~LegacySession(); // stops the framework
    LegacySession(LegacySession const&) = delete;
    LegacySession& operator=(LegacySession const&) = delete;

    // Until interrupted. Returns the exit status. Ends the process itself when the framework does not stop in
    // time.
    int run();

private:
    using Clock = MessageBox::Clock;

    void setUpAndStay();
    void requestStop(); // idempotent

    template <typename Other>
    void handle(Other const&) {} // of other kinds of run
    void handle(ConfigurationAdopted const& message);
    void handle(EndpointStatus const& status) { onceAdopted(status); }
    void handle(ServicesPublished const& message) { onceAdopted(message); }
    void handle(RemoteInterface const& message) { onceAdopted(message); }
    void handle(PublisherFailed const& message) { onceAdopted(message); }
    void handle(ConfigurationFailed const& message);
    void handle(FrameworkStopped const& message);
    void handle(SignalReceived const& message);
    void handle(ReloadRequested const& message);
    void handle(TerminalResized const&) { narrator_.terminalResized(); }
    template <typename FromFramework>
    void onceAdopted(FromFramework const& message) {
        if (isAdopted_) {
            narrator_.tell(message);
        } else {
            earlyMessages_.push_back(message);
        }
    }
    void stopTookTooLong();

    MessageBox& messages_;
    Narrator& narrator_;
    Clock::time_point nextTick_ = Clock::now(); // when the reporter is told next that time passes
    bool isEnded_ = false;
    bool isAdopted_ = false;             // it is known which publishers there are
    std::vector<Message> earlyMessages_; // of the framework, before that
    Clock::time_point deadline_ = Clock::time_point::max();
    int status_;
    bool isAskedToStop_ = false; // then stop_ has its value
    std::promise<void> stop_;
    std::thread thread_;
};

} // namespace agent::program

#endif
