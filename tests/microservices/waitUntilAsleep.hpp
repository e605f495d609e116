// Lets a test go on when another thread waits.
#ifndef TESTS_MICROSERVICES_WAIT_UNTIL_ASLEEP_HPP
#define TESTS_MICROSERVICES_WAIT_UNTIL_ASLEEP_HPP

#include <fstream>
#include <string>
#include <thread>

#include <unistd.h>

// Returns when the thread sleeps, as it does while it waits, or has ended.
inline void waitUntilAsleep(pid_t thread) {
    auto const path = "/proc/self/task/" + std::to_string(thread) + "/stat";
    std::string text;
    do {
        std::this_thread::yield();
        std::ifstream stat(path);
        if (!std::getline(stat, text)) {
            return;
        }
    } while (text.find(") S ") == std::string::npos);
}

#endif
