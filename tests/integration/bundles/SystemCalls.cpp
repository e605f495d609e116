// The system calls, in front of those of the C library.
#include "SystemCalls.hpp"

#include <cerrno>
#include <condition_variable>
#include <cstdarg>
#include <map>
#include <mutex>
#include <utility>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/file.h>
#include <sys/socket.h>

namespace {

struct Steps {
    std::mutex mutex; // guards the members below
    std::function<int()> beforeFlock;
    std::map<std::string, std::vector<std::string>> hosts;
    int missingFamily = AF_UNSPEC;
    bool connectsFromTheSamePort = false;
    bool accepts = true;
    int failedAccepts = 0;
    std::condition_variable acceptFailed;
    bundles_test::WithoutOpening::What isNotOpened = bundles_test::WithoutOpening::What::Nothing;
    int failedOpens = 0;
    std::condition_variable openFailed;
    std::string hangingHost;
    int lookUps = 0; // of the hanging host, that have begun
    int hanging = 0; // of these, that have not ended
    std::condition_variable hangingChanged;
};

Steps& steps() {
    static Steps instance;
    return instance;
}

// What the program would call without this file.
template <class Call>
Call* systemCall(Call*, char const* name) {
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name));
}

std::vector<std::string> addressesOf(std::string const& host) {
    std::lock_guard const lock(steps().mutex);
    auto const found = steps().hosts.find(host);
    return found == steps().hosts.end() ? std::vector<std::string>{host} : found->second;
}

// Returns at once, or, true, when the host that hangs does so no longer.
bool hasHung(std::string const& host) {
    std::unique_lock lock(steps().mutex);
    if (host != steps().hangingHost) {
        return false;
    }
    ++steps().lookUps;
    ++steps().hanging;
    steps().hangingChanged.notify_all();
    steps().hangingChanged.wait(lock, [&] { return host != steps().hangingHost; });
    --steps().hanging;
    steps().hangingChanged.notify_all();
    return true;
}

// If so, errno says why.
bool isNotOpened(bundles_test::WithoutOpening::What what) {
    std::lock_guard const lock(steps().mutex);
    if (what != steps().isNotOpened) {
        return false;
    }
    ++steps().failedOpens;
    steps().openFailed.notify_all();
    errno = EMFILE;
    return true;
}

} // namespace

extern "C" int open(char const* path, int flags, ...) {
    if (isNotOpened(bundles_test::WithoutOpening::What::Files)) {
        return -1;
    }
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : mode_t{};
    va_end(arguments);
    return systemCall(&::open, "open")(path, flags, mode);
}

extern "C" DIR* opendir(char const* path) {
    return isNotOpened(bundles_test::WithoutOpening::What::Directories)
               ? nullptr
               : systemCall(&::opendir, "opendir")(path);
}

extern "C" int flock(int descriptor, int operation) noexcept {
    std::function<int()> before;
    {
        std::lock_guard const lock(steps().mutex);
        before = steps().beforeFlock;
    }
    if (auto const error = before ? before() : 0) {
        errno = error;
        return -1;
    }
    return systemCall(&::flock, "flock")(descriptor, operation);
}

extern "C" int socket(int family, int type, int protocol) noexcept {
    {
        std::lock_guard const lock(steps().mutex);
        if (family == steps().missingFamily) {
            errno = EAFNOSUPPORT;
            return -1;
        }
    }
    return systemCall(&::socket, "socket")(family, type, protocol);
}

extern "C" int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
    {
        std::lock_guard const lock(steps().mutex);
        if (!steps().accepts) {
            ++steps().failedAccepts;
            steps().acceptFailed.notify_all();
            errno = EMFILE;
            return -1;
        }
    }
    return systemCall(&::accept4, "accept4")(descriptor, address, size, flags);
}

extern "C" int connect(int descriptor, sockaddr const* address, socklen_t size) {
    {
        std::lock_guard const lock(steps().mutex);
        if (steps().connectsFromTheSamePort && address->sa_family == AF_INET) {
            ::bind(descriptor, address, size);
        }
    }
    return systemCall(&::connect, "connect")(descriptor, address, size);
}

extern "C" int getaddrinfo(char const* host, char const* service, addrinfo const* hints, addrinfo** result) {
    auto* const call = systemCall(&::getaddrinfo, "getaddrinfo");
    if (host == nullptr) {
        return call(host, service, hints, result);
    }
    if (hasHung(host)) {
        return EAI_AGAIN;
    }
    auto** end = result;
    for (auto const& address : addressesOf(host)) {
        if (auto const error = call(address.c_str(), service, hints, end)) {
            return error;
        }
        while (*end != nullptr) {
            end = &(*end)->ai_next;
        }
    }
    return 0;
}

namespace bundles_test {

BeforeFlock::BeforeFlock(std::function<int()> before) {
    std::lock_guard const lock(steps().mutex);
    steps().beforeFlock = std::move(before);
}

BeforeFlock::~BeforeFlock() {
    std::lock_guard const lock(steps().mutex);
    steps().beforeFlock = nullptr;
}

HostWithAddresses::HostWithAddresses(std::string name, std::vector<std::string> addresses) {
    std::lock_guard const lock(steps().mutex);
    steps().hosts.emplace(std::move(name), std::move(addresses));
}

HostWithAddresses::~HostWithAddresses() {
    std::lock_guard const lock(steps().mutex);
    steps().hosts.clear();
}

WithoutFamily::WithoutFamily(int family) {
    std::lock_guard const lock(steps().mutex);
    steps().missingFamily = family;
}

WithoutFamily::~WithoutFamily() {
    std::lock_guard const lock(steps().mutex);
    steps().missingFamily = AF_UNSPEC;
}

ConnectingFromTheSamePort::ConnectingFromTheSamePort() {
    std::lock_guard const lock(steps().mutex);
    steps().connectsFromTheSamePort = true;
}

ConnectingFromTheSamePort::~ConnectingFromTheSamePort() {
    std::lock_guard const lock(steps().mutex);
    steps().connectsFromTheSamePort = false;
}

WithoutAccepting::WithoutAccepting() {
    std::lock_guard const lock(steps().mutex);
    steps().accepts = false;
    steps().failedAccepts = 0;
}

WithoutAccepting::~WithoutAccepting() {
    std::lock_guard const lock(steps().mutex);
    steps().accepts = true;
}

void WithoutAccepting::waitForAttempts(int count) const {
    std::unique_lock lock(steps().mutex);
    steps().acceptFailed.wait(lock, [&] { return steps().failedAccepts >= count; });
}

WithoutOpening::WithoutOpening(What what) {
    std::lock_guard const lock(steps().mutex);
    steps().isNotOpened = what;
    steps().failedOpens = 0;
}

WithoutOpening::~WithoutOpening() {
    std::lock_guard const lock(steps().mutex);
    steps().isNotOpened = What::Nothing;
}

void WithoutOpening::waitForAttempts(int count) const {
    std::unique_lock lock(steps().mutex);
    steps().openFailed.wait(lock, [&] { return steps().failedOpens >= count; });
}

HangingHost::HangingHost(std::string name) {
    std::lock_guard const lock(steps().mutex);
    steps().hangingHost = std::move(name);
    steps().lookUps = 0;
}

HangingHost::~HangingHost() {
    std::unique_lock lock(steps().mutex);
    steps().hangingHost.clear();
    steps().hangingChanged.notify_all();
    steps().hangingChanged.wait(lock, [] { return steps().hanging == 0; });
}

void HangingHost::waitForLookUp() const {
    std::unique_lock lock(steps().mutex);
    steps().hangingChanged.wait(lock, [] { return steps().lookUps > 0; });
}

int HangingHost::lookUps() const {
    std::lock_guard const lock(steps().mutex);
    return steps().lookUps;
}

} // namespace bundles_test
