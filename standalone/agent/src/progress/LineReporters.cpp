// Reporters that write a line per change.
#include "progress/LineReporters.hpp"

#include <cstdio>

#include <fmt/format.h>

#include "progress/displayText.hpp"
#include "version.hpp"

namespace agent::program {

namespace {

constexpr std::chrono::seconds heartbeat{10};
constexpr int jsonFormatVersion = 1;

double secondsSince(Board::Clock::time_point start) {
    return std::chrono::duration<double>(Board::Clock::now() - start).count();
}

void writeLine(std::FILE* stream, std::string const& line) {
    auto const text = line + '\n';
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
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
    if (waiting && Board::Clock::now() - lastLine_ >= heartbeat) {
        line("still waiting: " + missing(board));
    }
}

void PlainReporter::result(std::string const& text) {
    writeLine(stdout, printable(text));
}

void PlainReporter::line(std::string const& text) {
    lastLine_ = Board::Clock::now();
    writeLine(stderr, fmt::format("[{:8.3f}] {}", secondsSince(start_), printable(text)));
}

JsonReporter::JsonReporter() {
    nlohmann::ordered_json const version{
        {"event", "version"}, {"format", jsonFormatVersion}, {"program", programVersion()}};
    writeLine(stderr, version.dump());
}

void JsonReporter::changed(Change const& change, Board const&) {
    nlohmann::ordered_json object;
    object["elapsed"] = static_cast<double>(static_cast<long>(secondsSince(start_) * 1000)) / 1000;
    object["event"] = change.event;
    for (auto const& [name, value] : change.details.items()) {
        object[name] = value;
    }
    object["text"] = change.text;
    writeLine(stderr, object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void JsonReporter::result(std::string const& line) {
    writeLine(stdout, printable(line));
}

void QuietReporter::changed(Change const& change, Board const&) {
    if (change.isFailure) {
        writeLine(stderr, "spf-agent: " + printable(change.text));
    }
}

void QuietReporter::result(std::string const& line) {
    writeLine(stdout, printable(line));
}

} // namespace agent::program
