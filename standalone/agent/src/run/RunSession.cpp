// One run of the agent.
#include "run/RunSession.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "Duration.hpp"
#include "ExitStatus.hpp"
#include "configuration/ConfigurationDifference.hpp"
#include "run/SignalThread.hpp"

namespace agent::program {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds withdrawalLimit = ConfigurationDriver::removalTimeout + 2s;
constexpr std::chrono::milliseconds stopLimit = 5s;
constexpr std::chrono::milliseconds tick = 1s;
constexpr auto noDeadline = MessageBox::Clock::time_point::max();

} // namespace

RunSession::RunSession(ConfigurationSource source, ConfigurationFile configuration, RunOptions options,
                       Narrator& narrator, MessageBox& messages)
    : source_(std::move(source))
    , configuration_(std::move(configuration))
    , options_(std::move(options))
    , messages_(messages)
    , narrator_(narrator)
    , driver_(configuration_, messages)
    , status_(exitstatus::success) {}

int RunSession::run() {
    narrator_.tell("starting", "publishing configuration " + configuration_.configurationID, identity());
    enterWaiting();
    while (phase_ != Phase::Ended) {
        auto const message = messages_.take(std::min(nextDeadline(), nextTick_));
        if (message) {
            std::visit([this](auto const& content) { handle(content); }, *message);
            advance();
        }
        if (messages_.isEmpty()) {
            narrator_.caughtUp();
        }
        if (Clock::now() >= nextTick_) {
            narrator_.timePassed(phase_ == Phase::Waiting);
            nextTick_ = Clock::now() + tick;
        }
        if (phase_ != Phase::Ended && Clock::now() >= nextDeadline()) {
            deadlinePassed();
        }
    }
    narrator_.tellSummary(status_);
    return status_;
}

// From the service framework

void RunSession::handle(EndpointStatus const& status) {
    narrator_.tell(status);
}

void RunSession::handle(ServicesPublished const& message) {
    if (message.modificationCount == modificationCount_) {
        narrator_.tell(message);
    }
}

void RunSession::handle(PublisherRemoved const& message) {
    // Another count is that of a version from which a publisher was left out that has come back.
    if (phase_ == Phase::Withdrawing && message.modificationCount == modificationCount_) {
        narrator_.tell(message);
    }
}

void RunSession::handle(PublisherFailed const& message) {
    if (message.modificationCount != modificationCount_ || !narrator_.tell(message)) {
        return;
    }
    if (phase_ == Phase::Waiting) {
        waitFailed(exitstatus::failed);
    } else if (phase_ == Phase::Staying) {
        status_ = exitstatus::failed; // the others go on; that it was not all well shows at the end
    }
}

void RunSession::handle(RemoteInterface const& message) {
    narrator_.tell(message);
}

// From the driver

void RunSession::handle(ConfigurationPublished const& message) {
    isPublished_ = true;
    narrator_.tell("published",
                   fmt::format("modification {} of configuration {} handed to the service framework",
                               message.modificationCount, configuration_.configurationID),
                   {{"configurationID", configuration_.configurationID},
                    {"modificationCount", message.modificationCount}});
}

void RunSession::handle(ConfigurationReady const& message) {
    driverIsReady_ = message.modificationCount == modificationCount_;
}

void RunSession::handle(ConfigurationFailed const& message) {
    if (message.modificationCount && message.modificationCount != modificationCount_) {
        return;
    }
    narrator_.tellFailure(message.reason);
    if (phase_ == Phase::Waiting) {
        waitFailed(exitstatus::failed);
    } else {
        fail();
    }
}

void RunSession::handle(ConfigurationWithdrawn const&) {
    driverHasWithdrawn_ = true;
}

void RunSession::handle(FrameworkStopped const&) {
    phase_ = Phase::Ended;
}

// From outside

void RunSession::handle(SignalReceived const& message) {
    narrator_.tell(
        "interrupted",
        fmt::format("SIG{}: withdrawing; a second signal leaves at once", sigabbrev_np(message.number)),
        {{"signal", message.number}});
    status_ = exitStatusOfSignal(message.number);
    if (phase_ == Phase::Waiting || phase_ == Phase::Staying) {
        enterWithdrawing();
    }
}

void RunSession::handle(ReloadRequested const& message) {
    if (phase_ != Phase::Waiting && phase_ != Phase::Staying) {
        return;
    }
    narrator_.tell("reload", message.cause + ": reading " + source_.name() + " again",
                   {{"cause", message.cause}});
    if (source_.isStandardInput()) {
        return refuse({Problem{"", "it was read to its end and cannot be read again"}});
    }
    auto parsed = source_.load();
    auto const& id = configuration_.configurationID;
    if (parsed.problems.empty() && parsed.configuration.configurationID != id) {
        parsed.problems.push_back(
            {"/configurationID", "found \"" + parsed.configuration.configurationID + "\"; expected \"" + id +
                                     "\", which is running; another one takes another run"});
    }
    if (!parsed.problems.empty()) {
        return refuse(parsed.problems);
    }
    apply(std::move(parsed.configuration));
}

void RunSession::handle(TerminalResized const&) {
    narrator_.terminalResized();
}

// Phases

RunSession::Clock::time_point RunSession::nextDeadline() const {
    bool const mayEndStay = phase_ == Phase::Waiting || phase_ == Phase::Staying;
    return mayEndStay ? std::min(deadline_, stayUntil_) : deadline_;
}

bool RunSession::isReady() const {
    auto const& board = narrator_.board();
    auto const& expected = options_.expectedInterfaces;
    return driverIsReady_ && board.isReady() &&
           std::all_of(expected.begin(), expected.end(),
                       [&board](auto const& name) { return board.sees(name); });
}

// Enters the next phase if what has happened allows it.
void RunSession::advance() {
    bool const awaitsReadiness = phase_ == Phase::Waiting || (phase_ == Phase::Staying && isLate_);
    if (awaitsReadiness && isReady()) {
        becomeReady();
    } else if (phase_ == Phase::Withdrawing && driverHasWithdrawn_ && narrator_.board().isRemoved()) {
        narrator_.tell("withdrawn", "configuration " + configuration_.configurationID + " withdrawn",
                       identity());
        result("withdrawn " + configuration_.configurationID);
        enterStopping();
    }
}

void RunSession::deadlinePassed() {
    if (phase_ == Phase::Withdrawing) {
        withdrawalTookTooLong();
    } else if (phase_ == Phase::Stopping) {
        stopTookTooLong();
    } else if (Clock::now() >= stayUntil_) {
        enterWithdrawing();
    } else {
        narrator_.tellFailure("not ready within " + formatDuration(options_.timeout));
        narrator_.tellOutstanding(options_.expectedInterfaces);
        waitFailed(exitstatus::notReady);
    }
}

void RunSession::enterWaiting() {
    phase_ = Phase::Waiting;
    deadline_ = options_.timeout == 0ms ? noDeadline : Clock::now() + options_.timeout;
}

void RunSession::becomeReady() {
    phase_ = Phase::Staying;
    deadline_ = noDeadline;
    status_ = exitstatus::success;
    isLate_ = false;
    if (!std::exchange(wasReady_, true) && options_.stay) {
        stayUntil_ = Clock::now() + *options_.stay;
    }
    narrator_.tell("ready", "configuration " + configuration_.configurationID + " is ready", identity());
    result("ready " + configuration_.configurationID);
}

void RunSession::waitFailed(int status) {
    status_ = status;
    if (wasReady_) { // a modification came to nothing: what runs stays, and the next change may mend it
        isLate_ = true;
        phase_ = Phase::Staying;
        deadline_ = noDeadline;
    } else {
        enterWithdrawing();
    }
}

void RunSession::enterWithdrawing() {
    phase_ = Phase::Withdrawing;
    deadline_ = Clock::now() + withdrawalLimit;
    narrator_.tell("withdrawing", "withdrawing configuration " + configuration_.configurationID, identity());
    driver_.withdraw();
}

void RunSession::withdrawalTookTooLong() {
    narrator_.tellFailure("not withdrawn within " + formatDuration(withdrawalLimit) +
                          (isPublished_
                               ? "; the service framework has not reported the removal of every publisher"
                               : "; the service framework is still being started"));
    fail();
    enterStopping();
}

void RunSession::enterStopping() {
    phase_ = Phase::Stopping;
    deadline_ = Clock::now() + stopLimit;
    driver_.finish();
}

void RunSession::stopTookTooLong() {
    narrator_.tellFailure("the framework did not stop within " + formatDuration(stopLimit));
    fail();
    narrator_.tellSummary(status_);
    std::_Exit(status_);
}

// Changes of the configuration

void RunSession::apply(ConfigurationFile next) {
    auto const lines = differences(configuration_, next);
    if (lines.empty()) {
        return narrator_.tell("unchanged", source_.name() + " is unchanged: nothing to apply", identity());
    }
    configuration_ = next;
    driverIsReady_ = false;
    modificationCount_ = driver_.apply(std::move(next));
    narrator_.tell("modifying",
                   fmt::format("applying {} to configuration {}",
                               lines.size() == 1 ? "1 change" : fmt::format("{} changes", lines.size()),
                               configuration_.configurationID),
                   {{"configurationID", configuration_.configurationID},
                    {"modificationCount", modificationCount_},
                    {"changes", static_cast<std::int64_t>(lines.size())}});
    for (auto const& line : lines) {
        narrator_.tell("difference", "  " + line, {{"difference", line}});
    }
    narrator_.reconfigure(configuration_);
    if (wasReady_) {
        enterWaiting();
    } // otherwise the first wait goes on, with its one deadline
}

void RunSession::result(std::string const& line) {
    if (!narrator_.result(line)) {
        fail();
    }
}

// What has ended the run before is why it ends.
void RunSession::fail() {
    status_ = status_ == exitstatus::success ? exitstatus::failed : status_;
}

void RunSession::refuse(Problems const& problems) {
    for (auto const& problem : problems) {
        narrator_.tellProblem(source_.describe(problem), problem);
    }
    narrator_.tell("refused", source_.name() + " is refused; the running configuration stays", identity());
}

Details RunSession::identity() const {
    return {{"configurationID", configuration_.configurationID}};
}

} // namespace agent::program
