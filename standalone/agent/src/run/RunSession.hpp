// One run of the agent: publish a configuration, wait until it is ready, stay, withdraw.
#ifndef AGENT_PROGRAM_RUN_RUN_SESSION_HPP
#define AGENT_PROGRAM_RUN_RUN_SESSION_HPP

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "configuration/ConfigurationSource.hpp"
#include "progress/Narrator.hpp"
#include "run/ConfigurationDriver.hpp"
#include "run/Message.hpp"

namespace agent::program {

struct RunOptions {
    std::chrono::milliseconds timeout{30'000};     // until all is ready; zero: no limit
    std::optional<std::chrono::milliseconds> stay; // after all is ready; nothing: until interrupted
    std::vector<std::string> expectedInterfaces;   // of peers; ready means that they are seen, too
};

// The main thread's part: it alone knows what phase the run is in, and it alone writes. Other threads reach
// it through the mailbox only.
//
//   Waiting -> Staying -> Withdrawing -> Stopping -> Ended
//
// The first wait leads to Withdrawing if it fails. A changed file leads from Staying to Waiting again;
// whatever comes of that wait, Staying follows.
class RunSession {
public:
    // `configuration` is what was loaded from `source`, which is loaded again when a change is to be applied.
    // `narrator` has been told of nothing but it.
    RunSession(ConfigurationSource source, ConfigurationFile configuration, RunOptions options,
               Narrator& narrator, MessageBox& messages);

    // Returns the exit status. Ends the process itself when the framework does not stop in time.
    int run();

private:
    using Clock = MessageBox::Clock;
    enum class Phase { Waiting, Staying, Withdrawing, Stopping, Ended };

    void handle(EndpointStatus const& status);
    void handle(ServicesPublished const& message);
    void handle(PublisherRemoved const& message);
    void handle(PublisherFailed const& message);
    void handle(RemoteInterface const& message);
    void handle(ConfigurationPublished const& message);
    void handle(ConfigurationReady const& message);
    void handle(ConfigurationFailed const& message);
    void handle(ConfigurationWithdrawn const& message);
    void handle(FrameworkStopped const& message);
    void handle(SignalReceived const& message);
    void handle(ReloadRequested const& message);
    void handle(TerminalResized const& message);
    void handle(ConfigurationAdopted const&) {} // not of this kind of run

    Clock::time_point nextDeadline() const;
    bool isReady() const;
    void advance();
    void deadlinePassed();
    void enterWaiting();
    void becomeReady();
    void waitFailed(int status);
    void enterWithdrawing();
    void withdrawalTookTooLong();
    void enterStopping();
    void stopTookTooLong();
    void apply(ConfigurationFile next);
    void result(std::string const& line);
    void fail();
    void refuse(Problems const& problems);
    Details identity() const;

    ConfigurationSource const source_;
    ConfigurationFile configuration_; // the version that was handed over last
    RunOptions const options_;
    MessageBox& messages_;
    Narrator& narrator_;
    ConfigurationDriver driver_;

    Clock::time_point nextTick_ = Clock::now(); // when the reporter is told next that time passes
    Phase phase_ = Phase::Waiting;
    Clock::time_point deadline_;                             // of the phase
    Clock::time_point stayUntil_ = Clock::time_point::max(); // whatever the phase, once all was ready
    std::uint32_t modificationCount_ = 1;                    // of configuration_
    bool isPublished_ = false;                               // the framework was started, and has a version
    bool driverIsReady_ = false;                             // with configuration_
    bool wasReady_ = false;                                  // ever
    bool isLate_ = false;                                    // a modification was not ready in time
    bool driverHasWithdrawn_ = false;
    int status_;
};

} // namespace agent::program

#endif
