// Listening, accepting, and patience with addresses in use.
#include "agent/spf/bundles/sockets/SocketListener.hpp"

#include <cstring>
#include <utility>

#include <sys/socket.h>

#include <boost/asio/error.hpp>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::sockets {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

// How long to leave the queue of waiting peers alone when the process cannot accept one, as when it has too
// many open files.
constexpr std::chrono::milliseconds acceptPause{100};

// An address in use may be about to be given up: by another publisher, to which the same modification gives
// another one, or by a process that this one takes the place of. So it is tried again a few times, at growing
// intervals.
constexpr std::chrono::milliseconds firstPatience{10};
constexpr std::chrono::milliseconds lastPatience{160};

std::uint16_t portOf(Acceptor const& acceptor) {
    tcp::endpoint result;
    auto const address = acceptor.local_endpoint();
    std::memcpy(result.data(), address.data(), address.size());
    return result.port();
}

void openAcceptor(Acceptor& acceptor, int family) {
    if (auto const error = openSocket(acceptor, family)) {
        throw boost::system::system_error(error);
    }
}

// Whether the peer that was there to be accepted has gone, or accepting was only interrupted.
bool isNobodyThere(error_code const& error) {
    namespace asio = boost::asio::error;
    return error == asio::would_block || error == asio::try_again || error == asio::interrupted ||
           error == asio::connection_aborted;
}

} // namespace

SocketListener::SocketListener(std::shared_ptr<WorkerThread> const& worker,
                               std::shared_ptr<IoObjects> objects, std::string endpoint,
                               std::shared_ptr<EndpointHandler> handler)
    : worker_(worker)
    , objects_(std::move(objects))
    , endpoint_(std::move(endpoint))
    , handler_(std::move(handler))
    , resolver_(worker)
    , acceptor_(worker->context())
    , pause_(worker->context())
    , patience_(firstPatience) {}

void SocketListener::start() {
    guarded([this] {
        objects_->add(weak_from_this()); // may close it
        if (handler_) {
            std::visit([this](auto const& address) { listen(address); }, parseEndpoint(endpoint_));
        }
    });
}

template <class Action>
void SocketListener::guarded(Action const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        fail(error.what());
    }
}

void SocketListener::listen(UnixAddress const& address) {
    openAcceptor(acceptor_, AF_UNIX);
    try {
        file_.emplace(acceptor_.native_handle(), address.path);
    } catch (AddressInUse const& error) {
        return waitForAddress(error.what(), [this, address] { listen(address); });
    }
    reportBound(endpoint_);
}

void SocketListener::listen(TcpAddress const& address) {
    resolver_.resolve(address, tcp::resolver::passive,
                      [self = shared_from_this(), host = address.host](
                          std::vector<tcp::endpoint> const& found, std::string const& reason) {
                          if (found.empty()) {
                              return self->fail(reason);
                          }
                          self->guarded([&] { self->listen(found, host); });
                      });
}

// Listens on the first address that it can: a host's name may stand for some that this machine does not have.
// One in use is as good as any: at another nobody would find what this one is looked for.
void SocketListener::listen(std::vector<tcp::endpoint> const& candidates, std::string const& host) {
    std::string reason;
    for (auto const& candidate : candidates) {
        try {
            open(candidate);
            return reportBound(tcpEndpointText(host, portOf(acceptor_)));
        } catch (boost::system::system_error const& error) {
            error_code ignored;
            acceptor_.close(ignored);
            if (error.code() == boost::asio::error::address_in_use) {
                return waitForAddress(error.code().message(),
                                      [this, candidates, host] { listen(candidates, host); });
            }
            reason = reason.empty() ? error.code().message() : reason;
        }
    }
    fail(reason);
}

void SocketListener::waitForAddress(std::string const& reason, std::function<void()> listenAgain) {
    if (patience_ > lastPatience) {
        return fail(reason);
    }
    error_code ignored;
    acceptor_.close(ignored);
    pause_.expires_after(std::exchange(patience_, 2 * patience_));
    pause_.async_wait([self = shared_from_this(), listenAgain = std::move(listenAgain)](error_code const&) {
        if (self->handler_) {
            self->guarded(listenAgain);
        }
    });
}

void SocketListener::open(tcp::endpoint const& address) {
    openAcceptor(acceptor_, address.protocol().family());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(address);
    acceptor_.listen(tcp::acceptor::max_listen_connections);
}

void SocketListener::reportBound(std::string const& address) {
    auto const handler = handler_; // the call may close the listener
    handler->bound(address);
    accept();
}

void SocketListener::accept() {
    if (!handler_ || accepting_ || origins_.size() == maximumConnections) {
        return;
    }
    persistently([this] {
        acceptor_.async_wait(Acceptor::wait_read, [self = shared_from_this()](error_code const&) {
            if (self->handler_) {
                self->acceptWaiting();
            }
        });
    });
    accepting_ = true;
}

void SocketListener::acceptWaiting() {
    try {
        Socket socket(acceptor_.get_executor());
        auto const error = acceptSocket(acceptor_, socket);
        if (error && !isNobodyThere(error)) {
            return pauseAccepting();
        }
        if (!error) {
            hand(std::move(socket));
        }
    } catch (std::exception const&) {
        // There was no memory for this peer. There may be some for the next.
    }
    accepting_ = false;
    accept();
}

void SocketListener::pauseAccepting() {
    pause_.expires_after(acceptPause);
    pause_.async_wait([self = shared_from_this()](error_code const&) {
        self->accepting_ = false;
        self->accept();
    });
}

void SocketListener::hand(Socket socket) {
    auto worker = worker_.lock();
    auto const origin = originOf(socket);
    if (!worker || origins_.count(origin) == maximumConnectionsOfOneOrigin) {
        return;
    }
    SocketConnection::Owner owner;
    owner.ended = [weak = weak_from_this(), origin](std::string_view) {
        if (auto const self = weak.lock()) {
            self->connectionEnded(origin);
        }
    };
    auto const connection = std::make_shared<SocketConnection>(std::move(socket), std::move(owner));
    origins_.insert(origin);
    try {
        objects_->add(connection);
        auto const handler = handler_; // the call may close the listener
        handler->opened(std::make_shared<SocketConnectionHandle>(std::move(worker), connection));
    } catch (std::exception const&) {
        connection->close();
        throw;
    }
}

void SocketListener::connectionEnded(std::string const& origin) {
    origins_.erase(origins_.find(origin));
    accept();
}

void SocketListener::fail(std::string_view reason) {
    auto const handler = handler_;
    close();
    if (handler) {
        persistently([&] { handler->failed("cannot bind " + endpoint_ + ": " + std::string(reason)); });
    }
}

void SocketListener::close() {
    handler_.reset();
    resolver_.cancel();
    pause_.cancel();
    file_.reset(); // before the socket, so that nobody finds a socket's file on which no one listens
    error_code ignored;
    acceptor_.close(ignored);
}

} // namespace agent::spf::bundles::sockets
