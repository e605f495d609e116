// Tells what the service framework does, and keeps what is known of it.
#include "progress/Narrator.hpp"

#include <cstdint>
#include <utility>

#include <fmt/format.h>

#include "progress/advice.hpp"

namespace agent::program {

namespace {

std::string withReason(std::string text, std::string const& reason) {
    return reason.empty() ? text : text + " (" + reason + ")";
}

} // namespace

Narrator::Narrator(ConfigurationFile const& configuration, ProgressStyle style)
    : board_(configuration)
    , reporter_(makeReporter(style)) {}

void Narrator::tell(EndpointStatus const& status) {
    if (!board_.apply(status)) {
        return;
    }
    auto const text = fmt::format("{}: {} {}: {}", status.publisher, wordFor(status.role), status.endpoint,
                                  wordFor(status.state));
    change(Change::Kind::OnBoard, "endpoint", withReason(text, status.reason),
           {{"publisher", status.publisher},
            {"endpoint", status.endpoint},
            {"role", wordFor(status.role)},
            {"state", wordFor(status.state)},
            {"reason", status.reason}});
}

void Narrator::tell(ServicesPublished const& message) {
    if (!board_.apply(message)) {
        return;
    }
    change(Change::Kind::OnBoard, "services", message.publisher + ": services published",
           {{"publisher", message.publisher}, {"state", "published"}});
}

void Narrator::tell(PublisherRemoved const& message) {
    if (!board_.apply(message)) {
        return;
    }
    change(Change::Kind::OnBoard, "services", message.publisher + ": services unpublished",
           {{"publisher", message.publisher}, {"state", "unpublished"}});
}

bool Narrator::tell(PublisherFailed const& message) {
    if (!board_.apply(message)) {
        return false;
    }
    tellFailure(message.reason);
    return true;
}

void Narrator::tell(RemoteInterface const& message) {
    if (!board_.apply(message)) {
        return;
    }
    auto const* const state = message.available ? "available" : "gone";
    change(Change::Kind::OnBoard, "remote",
           fmt::format("{}: interface {} ({}) of publisher {} of {} through {}: {}", message.localPublisher,
                       message.interfaceName, message.uniqueID, message.publisher, message.peer,
                       message.endpoint, state),
           {{"publisher", message.localPublisher},
            {"interface", message.interfaceName},
            {"uniqueID", message.uniqueID},
            {"remotePublisher", message.publisher},
            {"peer", message.peer},
            {"endpoint", message.endpoint},
            {"state", state}});
}

void Narrator::reconfigure(ConfigurationFile const& configuration) {
    board_.reconfigure(configuration);
    failures_.clear(); // what failed then and fails now is news
}

void Narrator::tellOutstanding(std::vector<std::string> const& expectedInterfaces) {
    for (auto const& publisher : board_.publishers()) {
        for (auto const& endpoint : publisher.endpoints) {
            if (publisher.awaitsEndpoints && !isUp(endpoint)) {
                outstanding(
                    fmt::format("{}: {} {}", publisher.uniqueID, wordFor(endpoint.role), endpoint.endpoint),
                    endpoint.reason, adviceFor(endpoint.role, endpoint.reason),
                    {{"publisher", publisher.uniqueID},
                     {"endpoint", endpoint.endpoint},
                     {"role", wordFor(endpoint.role)}});
            }
        }
        if (!publisher.servicesPublished) {
            outstanding("the services of " + publisher.uniqueID + " are not published", {}, {},
                        {{"publisher", publisher.uniqueID}});
        }
    }
    for (auto const& name : expectedInterfaces) {
        if (!board_.sees(name)) {
            outstanding("no peer offers the expected interface " + name, {}, adviceForInterface(),
                        {{"interface", name}});
        }
    }
}

void Narrator::outstanding(std::string const& what, std::string const& reason, std::string const& advice,
                           Details details) {
    details.emplace_back("reason", reason);
    details.emplace_back("advice", advice);
    change(Change::Kind::Failure, "outstanding",
           withAdvice(withReason("outstanding: " + what, reason), advice), std::move(details));
}

void Narrator::tellFailure(std::string const& reason) {
    if (!failures_.insert(reason).second) {
        return;
    }
    auto const advice = adviceForFailure(reason);
    change(Change::Kind::Failure, "failure", withAdvice(reason, advice),
           {{"reason", reason}, {"advice", advice}});
}

bool Narrator::result(std::string const& line) {
    auto const isWritten = reporter_->result(line);
    if (!isWritten) {
        tellFailure("cannot write the result to standard output");
    }
    return isWritten;
}

void Narrator::tellProblem(std::string const& text, Problem const& problem) {
    Details details{{"where", problem.where}, {"what", problem.what}};
    if (problem.line != 0) {
        details.emplace_back("line", static_cast<std::int64_t>(problem.line));
    }
    change(Change::Kind::Failure, "problem", text, std::move(details));
}

void Narrator::tell(std::string event, std::string text, Details details) {
    change(Change::Kind::Step, std::move(event), std::move(text), std::move(details));
}

void Narrator::tellSummary(int status) {
    tell("summary", fmt::format("ended with status {}", status), {{"status", status}});
}

void Narrator::change(Change::Kind kind, std::string event, std::string text, Details details) {
    reporter_->changed({kind, std::move(event), std::move(text), std::move(details)}, board_);
}

} // namespace agent::program
