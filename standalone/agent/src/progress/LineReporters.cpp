// Reporters that write a line per change.
#include "progress/LineReporters.hpp"

#include <cstdio>
#include <variant>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "progress/displayText.hpp"
#include "version.hpp"

namespace agent::program {

namespace {

constexpr int jsonFormatVersion = 1;

double secondsSince(Board::Clock::time_point start) {
    return std::chrono::duration<double>(Board::Clock::now() - start).count();
}

std::string missing(Board const& board) {
    std::string list;
    auto const add = [&list](std::string const& text) { list += (list.empty() ? "" : "; ") + text; };
    for (auto const& publisher : board.publishers()) {
        for (auto const& endpoint : publisher.endpoints) {
            if (publisher.awaitsEndpoints && !isUp(endpoint)) {
                add(fmt::format("{} {} is {}{}", publisher.uniqueID, endpoint.endpoint,
                                wordFor(endpoint.state),
                                endpoint.reason.empty() ? "" : " (" + endpoint.reason + ")"));
            }
        }
        if (!publisher.servicesPublished) {
            add("the services of " + publisher.uniqueID + " are not published");
        }
    }
    return list.empty() ? "interfaces of peers" : list;
}

} // namespace

void PlainReporter::changed(Change const& change, Board const&) {
    line(change.text);
}

void PlainReporter::timePassed(Board const& board, bool waiting) {
    if (waiting && Board::Clock::now() - lastLine_ >= heartbeat_) {
        line("still waiting: " + missing(board));
    }
}

void PlainReporter::line(std::string const& text) {
    lastLine_ = Board::Clock::now();
    write(stderr, fmt::format("[{:8.3f}] {}\n", secondsSince(start_), printable(text)));
}

JsonReporter::JsonReporter() {
    nlohmann::ordered_json const version{
        {"event", "version"}, {"format", jsonFormatVersion}, {"program", programVersion()}};
    write(stderr, version.dump() + '\n');
}

void JsonReporter::changed(Change const& change, Board const&) {
    nlohmann::ordered_json object;
    object["elapsed"] = static_cast<double>(static_cast<long>(secondsSince(start_) * 1000)) / 1000;
    object["event"] = change.event;
    for (auto const& [name, detail] : change.details) {
        std::visit([&member = object[name]](auto const& value) { member = value; }, detail);
    }
    object["text"] = change.text;
    write(stderr, object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n');
}

void QuietReporter::changed(Change const& change, Board const&) {
    if (change.kind == Change::Kind::Failure) {
        write(stderr, "spf-agent: " + printable(change.text) + '\n');
    }
}

} // namespace agent::program
