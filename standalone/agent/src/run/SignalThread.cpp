// The signals that the program answers, taken by a thread of their own.
#include "run/SignalThread.hpp"

#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

#include <sys/signalfd.h>

namespace agent::program {

namespace {

constexpr std::chrono::milliseconds oneSignalTwice{300};
constexpr std::chrono::seconds lastMoment{20}; // longer than the main thread gives withdrawal and stop

// Ends the process when the main thread has not: it is held up by whoever does not read what it writes, or by
// the file that it reads.
void endAtLastMoment(int status) {
    try {
        std::thread([status] {
            std::this_thread::sleep_for(lastMoment);
            std::_Exit(status);
        }).detach();
    } catch (std::system_error const&) {
        // No further thread can be had; a second signal ends the process.
    }
}

int openSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (auto const signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) {
        sigaddset(&set, signal);
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    // A reader of our output that leaves, or a file that may not grow, is no reason to leave endpoints
    // behind.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

} // namespace

SignalThread::SignalThread(MessageBox& messages)
    : messages_(messages)
    , hadTerminal_(isatty(STDERR_FILENO) != 0)
    , signals_(openSignals(), "signalfd")
    , thread_(signals_.get(), [this] { receive(); }) {}

void SignalThread::receive() {
    signalfd_siginfo info{};
    if (read(signals_.get(), &info, sizeof info) != sizeof info) {
        return;
    }
    auto const signal = static_cast<int>(info.ssi_signo);
    bool const terminalIsGone = hadTerminal_ && isatty(STDERR_FILENO) == 0;
    if (signal == SIGWINCH) {
        messages_.put(TerminalResized{});
    } else if (signal == SIGHUP && !terminalIsGone) {
        messages_.put(ReloadRequested{"SIGHUP"});
    } else {
        interrupt(signal);
    }
}

void SignalThread::interrupt(int signal) {
    auto const now = std::chrono::steady_clock::now();
    if (firstSignal_ == 0) {
        firstSignal_ = signal;
        firstSignalAt_ = now;
        endAtLastMoment(exitStatusOfSignal(signal));
        messages_.putFirst(SignalReceived{signal});
    } else if (signal != firstSignal_ || now - firstSignalAt_ > oneSignalTwice) {
        std::_Exit(exitStatusOfSignal(signal));
    }
}

} // namespace agent::program
