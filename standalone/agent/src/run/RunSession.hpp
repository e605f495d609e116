// One run of the agent: publish a configuration, wait until it is ready, stay, withdraw.
#ifndef AGENT_PROGRAM_RUN_RUN_SESSION_HPP
#define AGENT_PROGRAM_RUN_RUN_SESSION_HPP

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "configuration/ConfigurationFile.hpp"
#include "progress/Board.hpp"
#include "progress/Reporter.hpp"
#include "run/ConfigurationDriver.hpp"
#include "run/Message.hpp"

namespace agent::program {

struct RunOptions {
    std::chrono::milliseconds timeout{30'000};     // until all is ready; zero: no limit
    std::optional<std::chrono::milliseconds> stay; // after all is ready; nothing: until interrupted
    std::vector<std::string> expectedInterfaces;   // of peers; ready means that they are seen, too
    ProgressStyle progress = ProgressStyle::Automatic;
};

// The main thread's part: it alone knows what phase the run is in, and it alone writes. Other threads reach
// it through the mailbox only.
class RunSession {
public:
    RunSession(ConfigurationFile const& configuration, RunOptions options, MessageBox& messages);

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
    void handle(OutstandingEndpoints const& message);
    void handle(ConfigurationFailed const& message);
    void handle(ConfigurationWithdrawn const& message);
    void handle(FrameworkStopped const& message);
    void handle(SignalReceived const& message);

    void advance();
    void deadlineReached();
    void enterStaying();
    void enterWithdrawing();
    void enterStopping();
    void withdrawWith(int status);

    bool seesExpectedInterfaces() const;
    void reportNotReady();
    void reportOutstanding(std::string const& publisher, std::string const& endpoint, EndpointRole role);
    void reportFailure(std::string const& reason);
    void report(std::string event, std::string text, nlohmann::ordered_json details = {},
                bool onBoard = false);

    RunOptions const options_;
    MessageBox& messages_;
    Board board_;
    std::unique_ptr<Reporter> reporter_;
    ConfigurationDriver driver_;

    Phase phase_ = Phase::Waiting;
    Clock::time_point deadline_; // of the phase
    int status_;
    bool driverIsReady_ = false;
    bool driverHasWithdrawn_ = false;
    std::set<std::string> reportedFailures_;
};

} // namespace agent::program

#endif
