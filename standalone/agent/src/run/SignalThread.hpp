// The signals that the program answers, taken by a thread of their own.
#ifndef AGENT_PROGRAM_RUN_SIGNAL_THREAD_HPP
#define AGENT_PROGRAM_RUN_SIGNAL_THREAD_HPP

#include <chrono>

#include "run/Message.hpp"
#include "run/PollThread.hpp"

namespace agent::program {

// The exit status of a process that a signal ended, as shells count it.
constexpr int exitStatusOfSignal(int signal) {
    return 128 + signal;
}

// SIGINT and SIGTERM: the first is told to the main thread before anything else that it is to be told; the
// second ends the process, whatever the main thread does, and so does the end of 20 seconds. SIGHUP asks for
// the configuration to be read again; if standard error is a terminal that has gone, it is an interrupt.
// SIGWINCH tells that the terminal has another size.
//
// To be made before any other thread, since threads inherit which signals are blocked.
class SignalThread {
public:
    explicit SignalThread(MessageBox& messages);

private:
    void receive();
    void interrupt(int signal);

    MessageBox& messages_;
    bool const hadTerminal_;
    int firstSignal_ = 0; // that interrupted; used by the thread only, as is the next
    std::chrono::steady_clock::time_point firstSignalAt_;
    FileDescriptor const signals_;
    PollThread const thread_;
};

} // namespace agent::program

#endif
