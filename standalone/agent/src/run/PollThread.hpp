// A thread that waits until a file descriptor is readable, again and again.
#ifndef AGENT_PROGRAM_RUN_POLL_THREAD_HPP
#define AGENT_PROGRAM_RUN_POLL_THREAD_HPP

#include <functional>
#include <thread>

#include "run/FileDescriptor.hpp"

namespace agent::program {

class PollThread {
public:
    // `readable` is called on the thread whenever `descriptor`, which must outlive this object, is readable.
    // It must read from it, and must not throw.
    PollThread(int descriptor, std::function<void()> readable);

    // Waits for a call that is under way.
    ~PollThread();

    PollThread(PollThread const&) = delete;
    PollThread& operator=(PollThread const&) = delete;

private:
    void run(int descriptor, std::function<void()> const& readable);

    FileDescriptor const stop_; // becomes readable when the thread is to end
    std::thread thread_;
};

} // namespace agent::program

#endif
