// A thread that waits until a file descriptor is readable, again and again.
#include "run/PollThread.hpp"

#include <array>
#include <cstdint>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>

namespace agent::program {

PollThread::PollThread(int descriptor, std::function<void()> readable)
    : stop_(eventfd(0, EFD_CLOEXEC), "eventfd")
    , thread_([this, descriptor, readable = std::move(readable)] { run(descriptor, readable); }) {}

PollThread::~PollThread() {
    std::uint64_t const one = 1;
    while (write(stop_.get(), &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
}

void PollThread::run(int descriptor, std::function<void()> const& readable) {
    std::array<pollfd, 2> ready{{{stop_.get(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
    for (;;) {
        poll(ready.data(), ready.size(), -1);
        if (ready[0].revents != 0) {
            return;
        }
        if (ready[1].revents != 0) {
            readable();
        }
    }
}

} // namespace agent::program
