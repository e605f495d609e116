// System calls of this program into which a test steps, to have happen between two of them what otherwise
// only chance brings about.
#ifndef SYSTEM_CALLS_HPP
#define SYSTEM_CALLS_HPP

#include <functional>
#include <string>
#include <vector>

namespace bundles_test {

// While it lives, every flock() calls the function first; what that returns, if not 0, is the error that
// flock() fails with. One at a time.
class BeforeFlock {
public:
    explicit BeforeFlock(std::function<int()> before);
    ~BeforeFlock();
    BeforeFlock(BeforeFlock const&) = delete;
    BeforeFlock& operator=(BeforeFlock const&) = delete;
};

// While it lives, the host's name stands for these numeric addresses, in this order. One at a time.
class HostWithAddresses {
public:
    HostWithAddresses(std::string name, std::vector<std::string> addresses);
    ~HostWithAddresses();
    HostWithAddresses(HostWithAddresses const&) = delete;
    HostWithAddresses& operator=(HostWithAddresses const&) = delete;
};

// While it lives, the system has no sockets of this family, such as AF_INET6. One at a time.
class WithoutFamily {
public:
    explicit WithoutFamily(int family);
    ~WithoutFamily();
    WithoutFamily(WithoutFamily const&) = delete;
    WithoutFamily& operator=(WithoutFamily const&) = delete;
};

// While it lives, the system chooses for a TCP socket that connects the port that it connects to. Where
// nobody listens, it is then connected to itself. One at a time.
class ConnectingFromTheSamePort {
public:
    ConnectingFromTheSamePort();
    ~ConnectingFromTheSamePort();
    ConnectingFromTheSamePort(ConnectingFromTheSamePort const&) = delete;
    ConnectingFromTheSamePort& operator=(ConnectingFromTheSamePort const&) = delete;
};

// While it lives, no connection is accepted: the process has too many open files. One at a time.
class WithoutAccepting {
public:
    WithoutAccepting();
    ~WithoutAccepting();
    WithoutAccepting(WithoutAccepting const&) = delete;
    WithoutAccepting& operator=(WithoutAccepting const&) = delete;

    void waitForAttempts(int count) const;
};

// While it lives, this program itself opens no files, or no directories: it has too many open. One at a time.
class WithoutOpening {
public:
    enum class What { Nothing, Files, Directories };

    explicit WithoutOpening(What what);
    ~WithoutOpening();
    WithoutOpening(WithoutOpening const&) = delete;
    WithoutOpening& operator=(WithoutOpening const&) = delete;

    void waitForAttempts(int count) const;
};

// While it lives, looking up the host's name does not end; then it fails. One at a time.
class HangingHost {
public:
    explicit HangingHost(std::string name);
    ~HangingHost(); // waits for the calls that it has let go
    HangingHost(HangingHost const&) = delete;
    HangingHost& operator=(HangingHost const&) = delete;

    void waitForLookUp() const;
    int lookUps() const; // that have begun
};

} // namespace bundles_test

#endif
