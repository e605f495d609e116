#include "agent/spf/bundles/sockets/StreamSockets.hpp"

#include <cerrno>

#include <netdb.h>
#include <sys/socket.h>

#include "agent/spf/bundles/common/FileDescriptor.hpp"

namespace agent::spf::bundles::sockets {

namespace {

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
    error_code ignored;
    auto const address = connected.remote_endpoint(ignored);
    if (address.protocol().family() == AF_UNIX) {
        ucred process{};
        socklen_t size = sizeof(process);
        ::getsockopt(connected.native_handle(), SOL_SOCKET, SO_PEERCRED, &process, &size);
        return "process " + std::to_string(process.pid);
    }
    char text[NI_MAXHOST] = "";
    ::getnameinfo(address.data(), static_cast<socklen_t>(address.size()), text, sizeof(text), nullptr, 0,
                  NI_NUMERICHOST);
    return text;
}

} // namespace agent::spf::bundles::sockets
