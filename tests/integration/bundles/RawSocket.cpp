// Blocking sockets by system calls.
#include "RawSocket.hpp"

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "BundlesTest.hpp"

namespace bundles_test {

namespace {

int check(int result, char const* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + std::system_category().message(errno));
    }
    return result;
}

sockaddr_un name(std::filesystem::path const& path) {
    sockaddr_un result{};
    result.sun_family = AF_UNIX;
    path.string().copy(result.sun_path, sizeof(result.sun_path) - 1);
    return result;
}

sockaddr_in name(std::string const& address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    check(::inet_pton(AF_INET, address.c_str(), &result.sin_addr), "inet_pton");
    return result;
}

void limitWaits(int descriptor) {
    timeval const limit{patience.count(), 0};
    check(::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)), "setsockopt");
    check(::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit)), "setsockopt");
}

} // namespace

RawSocket::RawSocket(int descriptor)
    : descriptor_(descriptor) {
    limitWaits(descriptor_);
}

RawSocket::RawSocket(std::filesystem::path const& path)
    : RawSocket(check(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
    auto const address = name(path);
    check(::connect(descriptor_, reinterpret_cast<sockaddr const*>(&address), sizeof(address)), "connect");
}

RawSocket::RawSocket(std::string const& source, std::uint16_t port)
    : RawSocket(check(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
    auto const from = name(source, 0);
    auto const to = name("127.0.0.1", port);
    check(::bind(descriptor_, reinterpret_cast<sockaddr const*>(&from), sizeof(from)), "bind");
    check(::connect(descriptor_, reinterpret_cast<sockaddr const*>(&to), sizeof(to)), "connect");
}

RawSocket::RawSocket(RawSocket&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

RawSocket::~RawSocket() {
    close();
}

std::string RawSocket::frame(std::string const& text) {
    std::string bytes;
    for (int const shift : {24, 16, 8, 0}) {
        bytes.push_back(static_cast<char>(static_cast<unsigned char>(text.size() >> shift)));
    }
    return bytes + text;
}

void RawSocket::send(std::string const& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        auto const count = ::send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0) {
            return; // the other side has closed already, which the test looks for itself
        }
        sent += static_cast<std::size_t>(count);
    }
}

std::string RawSocket::read(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t got = 0; got < size;) {
        auto const count =
            check(static_cast<int>(::recv(descriptor_, bytes.data() + got, size - got, 0)), "recv");
        if (count == 0) {
            throw std::runtime_error("the connection has ended");
        }
        got += static_cast<std::size_t>(count);
    }
    return bytes;
}

std::string RawSocket::readFrame() {
    std::size_t size = 0;
    for (char const byte : read(4)) {
        size = size << 8 | static_cast<unsigned char>(byte);
    }
    return read(size);
}

bool RawSocket::hasInput() const {
    pollfd waited{descriptor_, POLLIN, 0};
    return check(::poll(&waited, 1, 0), "poll") == 1;
}

bool RawSocket::isClosedByPeer() {
    char buffer[4096];
    for (;;) {
        auto const count = ::recv(descriptor_, buffer, sizeof(buffer), 0);
        if (count <= 0) {
            return count == 0 || errno == ECONNRESET;
        }
    }
}

void RawSocket::close() {
    if (auto const descriptor = std::exchange(descriptor_, -1); descriptor >= 0) {
        ::close(descriptor);
    }
}

RawListener::RawListener(std::filesystem::path const& path, unsigned type)
    : descriptor_(check(::socket(AF_UNIX, static_cast<int>(type | SOCK_CLOEXEC), 0), "socket")) {
    auto const address = name(path);
    check(::bind(descriptor_, reinterpret_cast<sockaddr const*>(&address), sizeof(address)), "bind");
    limitWaits(descriptor_);
}

RawListener::RawListener(std::filesystem::path const& path, int backlog)
    : RawListener(path, NotYet{}) {
    listen(backlog);
}

RawListener::RawListener(std::filesystem::path const& path, NotYet)
    : RawListener(path, static_cast<unsigned>(SOCK_STREAM)) {}

RawListener::RawListener(std::filesystem::path const& path, Datagrams)
    : RawListener(path, static_cast<unsigned>(SOCK_DGRAM)) {}

void RawListener::listen(int backlog) {
    check(::listen(descriptor_, backlog), "listen");
}

RawListener::~RawListener() {
    ::close(descriptor_);
}

RawSocket RawListener::accept() const {
    return RawSocket(check(::accept(descriptor_, nullptr, nullptr), "accept"));
}

namespace {

std::uint16_t portOf(int descriptor) {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    check(::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

void bindTo(std::string const& address, int descriptor) {
    auto const anyPort = name(address, 0);
    check(::bind(descriptor, reinterpret_cast<sockaddr const*>(&anyPort), sizeof(anyPort)), "bind");
}

} // namespace

SilentPort::SilentPort()
    : descriptor_(check(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
    bindTo("127.0.0.1", descriptor_);
    check(::listen(descriptor_, 0), "listen");
    number_ = portOf(descriptor_);
    taken_.emplace_back("127.0.0.1", number_);
}

SilentPort::~SilentPort() {
    ::close(descriptor_);
}

std::uint16_t freeTcpPort() {
    auto const descriptor = check(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    bindTo("0.0.0.0", descriptor);
    auto const port = portOf(descriptor);
    ::close(descriptor);
    return port;
}

} // namespace bundles_test
