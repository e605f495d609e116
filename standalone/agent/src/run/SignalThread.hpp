// Interrupts, taken by a thread of their own: the first is told to the main thread, the second ends the
// process.
#ifndef AGENT_PROGRAM_RUN_SIGNAL_THREAD_HPP
#define AGENT_PROGRAM_RUN_SIGNAL_THREAD_HPP

#include <thread>

#include "run/Message.hpp"

namespace agent::program {

// The exit status of a process that a signal ended, as shells count it.
constexpr int exitStatusOfSignal(int signal) {
    return 128 + signal;
}

// To be made before any other thread, since threads inherit which signals are blocked.
class SignalThread {
public:
    explicit SignalThread(MessageBox& messages);
    ~SignalThread();
    SignalThread(SignalThread const&) = delete;
    SignalThread& operator=(SignalThread const&) = delete;

private:
    void run();

    MessageBox& messages_;
    int signals_; // file descriptor: SIGINT and SIGTERM
    int stop_;    // file descriptor: becomes readable when the thread is to end
    std::thread thread_;
};

} // namespace agent::program

#endif
