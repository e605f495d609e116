// Starting and killing a child process.
#include "ChildProcess.hpp"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bundles_test {

namespace {

std::string readLine(int descriptor) {
    std::string line;
    for (char byte = 0; ::read(descriptor, &byte, 1) == 1 && byte != '\n';) {
        line += byte;
    }
    return line;
}

} // namespace

ChildProcess::ChildProcess(std::vector<std::string> command) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::system_category(), "pipe2");
    }
    std::vector<char*> arguments;
    for (auto& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    auto const error = ::posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (error == 0) {
        firstLine_ = readLine(ends[0]);
    }
    ::close(ends[0]);
    if (error != 0) {
        throw std::system_error(error, std::system_category(), command[0]);
    }
}

ChildProcess::~ChildProcess() {
    kill();
}

void ChildProcess::kill() {
    if (auto const pid = std::exchange(pid_, -1); pid > 0) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

} // namespace bundles_test
