// One run of the agent.
#include "run/RunSession.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "Duration.hpp"
#include "ExitStatus.hpp"
#include "run/SignalThread.hpp"

namespace agent::program {

namespace {

using namespace std::chrono_literals;
using nlohmann::ordered_json;

constexpr std::chrono::milliseconds removalTimeout = 8s;
constexpr std::chrono::milliseconds withdrawalLimit =
    10s; // longer than the library's wait that is part of it
constexpr std::chrono::milliseconds stopLimit = 10s;
constexpr std::chrono::milliseconds redrawInterval = 1s;
constexpr auto noDeadline = MessageBox::Clock::time_point::max();

std::string withReason(std::string text, std::string const& reason) {
    return reason.empty() ? text : text + " (" + reason + ")";
}

} // namespace

RunSession::RunSession(ConfigurationFile const& configuration, RunOptions options, MessageBox& messages)
    : options_(std::move(options))
    , messages_(messages)
    , board_(configuration)
    , reporter_(makeReporter(options_.progress))
    , driver_(configuration, removalTimeout, messages)
    , deadline_(options_.timeout == 0ms ? noDeadline : Clock::now() + options_.timeout)
    , status_(exitstatus::success) {}

int RunSession::run() {
    report("starting", "publishing configuration " + board_.configurationID(),
           {{"configurationID", board_.configurationID()}});
    while (phase_ != Phase::Ended) {
        auto const message = messages_.take(std::min(deadline_, Clock::now() + redrawInterval));
        if (message) {
            std::visit([this](auto const& content) { handle(content); }, *message);
            advance();
        } else {
            reporter_->timePassed(board_, phase_ == Phase::Waiting);
        }
        if (phase_ != Phase::Ended && Clock::now() >= deadline_) {
            deadlineReached();
        }
    }
    report("summary", fmt::format("ended with status {}", status_), {{"status", status_}});
    reporter_->finish();
    return status_;
}

// From the service framework

void RunSession::handle(EndpointStatus const& status) {
    if (board_.apply(status)) {
        report("endpoint",
               withReason(fmt::format("{}: {} {}: {}", status.publisher, wordFor(status.role),
                                      status.endpoint, wordFor(status.state)),
                          status.reason),
               {{"publisher", status.publisher},
                {"endpoint", status.endpoint},
                {"role", wordFor(status.role)},
                {"state", wordFor(status.state)},
                {"reason", status.reason}},
               true);
    }
}

void RunSession::handle(ServicesPublished const& message) {
    if (board_.apply(message)) {
        report("services", message.publisher + ": services published",
               {{"publisher", message.publisher}, {"state", "published"}}, true);
    }
}

void RunSession::handle(PublisherRemoved const& message) {
    if (board_.apply(message)) {
        report("services", message.publisher + ": services unpublished",
               {{"publisher", message.publisher}, {"state", "unpublished"}}, true);
    }
}

void RunSession::handle(PublisherFailed const& message) {
    if (!board_.apply(message)) {
        return;
    }
    reportFailure(message.reason);
    if (phase_ == Phase::Waiting) {
        withdrawWith(exitstatus::failed);
    } else if (phase_ == Phase::Staying) {
        status_ = exitstatus::failed; // the others go on; that it was not all well shows at the end
    }
}

void RunSession::handle(RemoteInterface const& message) {
    if (board_.apply(message)) {
        report("remote",
               fmt::format("{}: interface {} ({}) of publisher {} of {} through {}: {}",
                           message.localPublisher, message.interfaceName, message.uniqueID, message.publisher,
                           message.peer, message.endpoint, message.available ? "available" : "gone"),
               {{"publisher", message.localPublisher},
                {"interface", message.interfaceName},
                {"uniqueID", message.uniqueID},
                {"remotePublisher", message.publisher},
                {"peer", message.peer},
                {"endpoint", message.endpoint},
                {"state", message.available ? "available" : "gone"}},
               true);
    }
}

// From the driver

void RunSession::handle(ConfigurationPublished const& message) {
    report("published", "configuration " + message.configurationID + " handed to the service framework",
           {{"configurationID", message.configurationID}});
}

void RunSession::handle(ConfigurationReady const&) {
    driverIsReady_ = true;
}

void RunSession::handle(OutstandingEndpoints const& message) {
    if (status_ != exitstatus::notReady) {
        return; // it was not for lack of time that the wait ended
    }
    for (auto const& publisher : message.publishers) {
        for (auto const& endpoint : publisher.toBind) {
            reportOutstanding(publisher.publisher, endpoint, EndpointRole::Bind);
        }
        for (auto const& endpoint : publisher.toConnect) {
            reportOutstanding(publisher.publisher, endpoint, EndpointRole::Connect);
        }
    }
}

void RunSession::handle(ConfigurationFailed const& message) {
    reportFailure(message.reason);
    if (phase_ == Phase::Waiting) {
        withdrawWith(exitstatus::failed);
    }
}

void RunSession::handle(ConfigurationWithdrawn const&) {
    driverHasWithdrawn_ = true;
}

void RunSession::handle(FrameworkStopped const&) {
    phase_ = Phase::Ended;
}

void RunSession::handle(SignalReceived const& message) {
    report("interrupted",
           fmt::format("SIG{}: withdrawing; a second signal leaves at once", sigabbrev_np(message.number)),
           {{"signal", message.number}});
    if (phase_ == Phase::Waiting || phase_ == Phase::Staying) {
        withdrawWith(exitStatusOfSignal(message.number));
    }
}

// Phases

// Enters the next phase if what has happened allows it.
void RunSession::advance() {
    if (phase_ == Phase::Waiting && driverIsReady_ && board_.isReady() && seesExpectedInterfaces()) {
        enterStaying();
    } else if (phase_ == Phase::Withdrawing && driverHasWithdrawn_ && board_.isRemoved()) {
        report("withdrawn", "configuration " + board_.configurationID() + " withdrawn",
               {{"configurationID", board_.configurationID()}});
        reporter_->result("withdrawn " + board_.configurationID());
        enterStopping();
    }
}

void RunSession::deadlineReached() {
    switch (phase_) {
    case Phase::Waiting:
        reportNotReady();
        withdrawWith(exitstatus::notReady);
        break;
    case Phase::Staying:
        enterWithdrawing();
        break;
    case Phase::Withdrawing:
        reportFailure("not withdrawn within " + formatDuration(withdrawalLimit) +
                      "; the service framework has not reported the removal of every publisher");
        status_ = status_ == exitstatus::success ? exitstatus::failed : status_;
        enterStopping();
        break;
    case Phase::Stopping:
        reportFailure("the framework did not stop within " + formatDuration(stopLimit));
        std::_Exit(status_ == exitstatus::success ? exitstatus::failed : status_);
    case Phase::Ended:
        break;
    }
}

void RunSession::enterStaying() {
    phase_ = Phase::Staying;
    deadline_ = options_.stay ? Clock::now() + *options_.stay : noDeadline;
    report("ready", "configuration " + board_.configurationID() + " is ready",
           {{"configurationID", board_.configurationID()}});
    reporter_->result("ready " + board_.configurationID());
}

void RunSession::withdrawWith(int status) {
    status_ = status;
    enterWithdrawing();
}

void RunSession::enterWithdrawing() {
    phase_ = Phase::Withdrawing;
    deadline_ = Clock::now() + withdrawalLimit;
    report("withdrawing", "withdrawing configuration " + board_.configurationID(),
           {{"configurationID", board_.configurationID()}});
    driver_.withdraw();
}

void RunSession::enterStopping() {
    phase_ = Phase::Stopping;
    deadline_ = Clock::now() + stopLimit;
    driver_.finish();
}

bool RunSession::seesExpectedInterfaces() const {
    auto const& expected = options_.expectedInterfaces;
    return std::all_of(expected.begin(), expected.end(),
                       [this](std::string const& name) { return board_.sees(name); });
}

// Reports

void RunSession::reportNotReady() {
    reportFailure("not ready within " + formatDuration(options_.timeout));
    for (auto const& publisher : board_.publishers()) {
        if (!publisher.servicesPublished) {
            reportFailure("outstanding: the services of " + publisher.uniqueID + " are not published");
        }
    }
    for (auto const& name : options_.expectedInterfaces) {
        if (!board_.sees(name)) {
            reportFailure("outstanding: no peer offers the expected interface " + name);
        }
    }
}

void RunSession::reportOutstanding(std::string const& publisher, std::string const& endpoint,
                                   EndpointRole role) {
    reportFailure("outstanding: " + withReason(fmt::format("{}: {} {}", publisher, wordFor(role), endpoint),
                                               board_.lastReason(publisher, endpoint, role)));
}

void RunSession::reportFailure(std::string const& reason) {
    if (reportedFailures_.insert(reason).second) { // one failure may be told in two ways
        report("failure", reason, {{"reason", reason}});
    }
}

void RunSession::report(std::string event, std::string text, ordered_json details, bool onBoard) {
    reporter_->changed({std::move(event), std::move(text), std::move(details), onBoard}, board_);
}

} // namespace agent::program
