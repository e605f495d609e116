// A child process that is killed when its owner goes.
#ifndef CHILD_PROCESS_HPP
#define CHILD_PROCESS_HPP

#include <string>
#include <vector>

#include <sys/types.h>

namespace bundles_test {

class ChildProcess {
public:
    // Starts the program and waits for the first line that it writes.
    explicit ChildProcess(std::vector<std::string> command);
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    std::string const& firstLine() const noexcept { return firstLine_; }

    // SIGKILL; returns when the process is gone. Idempotent.
    void kill();

private:
    pid_t pid_ = -1; // -1 once it is gone
    std::string firstLine_;
};

} // namespace bundles_test

#endif
