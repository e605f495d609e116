// Reporters that write a line per change: for people, for programs, and for nobody.
#ifndef AGENT_PROGRAM_PROGRESS_LINE_REPORTERS_HPP
#define AGENT_PROGRAM_PROGRESS_LINE_REPORTERS_HPP

#include <chrono>

#include "progress/Reporter.hpp"

namespace agent::program {

// One line for people per change, and now and then one that says what is still missing.
class PlainReporter : public Reporter {
public:
    // Without changes there is a line each `heartbeat`.
    explicit PlainReporter(Board::Clock::duration heartbeat = std::chrono::seconds(10))
        : heartbeat_(heartbeat) {}

    void changed(Change const& change, Board const& board) override;
    void timePassed(Board const& board, bool waiting) override;

private:
    void line(std::string const& text);

    Board::Clock::duration const heartbeat_;
    Board::Clock::time_point const start_ = Board::Clock::now();
    Board::Clock::time_point lastLine_ = start_;
};

// One JSON object per line: the format's version, one per change with "elapsed" in seconds, last a "summary".
class JsonReporter : public Reporter {
public:
    JsonReporter();
    void changed(Change const& change, Board const& board) override;

private:
    Board::Clock::time_point const start_ = Board::Clock::now();
};

// Failures only.
class QuietReporter : public Reporter {
public:
    void changed(Change const& change, Board const& board) override;
};

} // namespace agent::program

#endif
