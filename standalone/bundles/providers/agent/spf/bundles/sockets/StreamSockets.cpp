// Opening, accepting and naming of sockets by system calls.
#include "agent/spf/bundles/sockets/StreamSockets.hpp"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "agent/spf/bundles/common/FileDescriptor.hpp"

namespace agent::spf::bundles::sockets {

namespace {

namespace ip = boost::asio::ip;
using boost::system::error_code;

constexpr int notInherited = SOCK_CLOEXEC | SOCK_NONBLOCK; // from the first instant, whoever forks meanwhile

// Hands what a system call has returned to a socket or an acceptor.
template <class Owner>
error_code assign(Owner& owner, int family, FileDescriptor descriptor) {
    if (descriptor.get() < 0) {
        return {errno, boost::system::system_category()};
    }
    error_code error;
    owner.assign({family, 0}, descriptor.get(), error);
    if (!error) {
        descriptor.release();
    }
    return error;
}

template <class Owner>
error_code open(Owner& owner, int family) {
    return assign(owner, family, FileDescriptor(::socket(family, SOCK_STREAM | notInherited, 0)));
}

// A socket that listens for both gives an address of IPv4 in the form of one of IPv6.
ip::address withoutMapping(ip::address const& address) {
    auto const isMapped = address.is_v6() && address.to_v6().is_v4_mapped();
    return isMapped ? ip::make_address_v4(ip::v4_mapped, address.to_v6()) : address;
}

} // namespace

error_code openSocket(Socket& socket, int family) {
    return open(socket, family);
}

error_code openSocket(Acceptor& acceptor, int family) {
    return open(acceptor, family);
}

error_code acceptSocket(Acceptor& acceptor, Socket& accepted) {
    sockaddr_storage address{};
    socklen_t size = sizeof(address);
    FileDescriptor descriptor(
        ::accept4(acceptor.native_handle(), reinterpret_cast<sockaddr*>(&address), &size, notInherited));
    return assign(accepted, address.ss_family, std::move(descriptor));
}

std::string originOf(Socket& connected) {
    error_code gone;
    auto const address = connected.remote_endpoint(gone);
    if (gone) {
        return {};
    }
    if (address.protocol().family() == AF_UNIX) {
        ucred process{};
        socklen_t size = sizeof(process);
        ::getsockopt(connected.native_handle(), SOL_SOCKET, SO_PEERCRED, &process, &size);
        return "process " + std::to_string(process.pid);
    }
    ip::tcp::endpoint peer;
    std::memcpy(peer.data(), address.data(), address.size());
    return withoutMapping(peer.address()).to_string();
}

} // namespace agent::spf::bundles::sockets
