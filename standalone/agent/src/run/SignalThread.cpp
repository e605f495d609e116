// Interrupts, taken by a thread of their own.
#include "run/SignalThread.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace agent::program {

namespace {

int checked(int descriptor, char const* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return descriptor;
}

int openSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE,
                SIG_IGN); // a reader of our output that leaves is no reason to leave endpoints behind
    return checked(signalfd(-1, &set, SFD_CLOEXEC), "signalfd");
}

} // namespace

SignalThread::SignalThread(MessageBox& messages)
    : messages_(messages)
    , signals_(openSignals())
    , stop_(checked(eventfd(0, EFD_CLOEXEC), "eventfd"))
    , thread_([this] { run(); }) {}

SignalThread::~SignalThread() {
    std::uint64_t const one = 1;
    while (write(stop_, &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
    close(signals_);
    close(stop_);
}

void SignalThread::run() {
    bool interrupted = false;
    std::array<pollfd, 2> ready{{{signals_, POLLIN, 0}, {stop_, POLLIN, 0}}};
    for (;;) {
        poll(ready.data(), ready.size(), -1);
        if (ready[1].revents != 0) {
            return;
        }
        signalfd_siginfo signal{};
        if (ready[0].revents == 0 || read(signals_, &signal, sizeof signal) != sizeof signal) {
            continue;
        }
        auto const number = static_cast<int>(signal.ssi_signo);
        if (interrupted) {
            std::_Exit(exitStatusOfSignal(number));
        }
        interrupted = true;
        messages_.put(SignalReceived{number});
    }
}

} // namespace agent::program
