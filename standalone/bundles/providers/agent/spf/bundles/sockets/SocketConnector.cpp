// Attempts to connect, address by address, and the pauses between them.
#include "agent/spf/bundles/sockets/SocketConnector.hpp"

#include <stdexcept>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::sockets {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

// The address of an endpoint to connect to: beyond what parsing refuses, a port must be given.
EndpointAddress parsePeerEndpoint(std::string const& text) {
    auto address = parseEndpoint(text);
    if (auto const* tcpAddress = std::get_if<TcpAddress>(&address); tcpAddress && tcpAddress->port == 0) {
        throw std::invalid_argument("nobody listens on port 0, expected a number from 1 to 65535");
    }
    return address;
}

constexpr auto noDeadline = boost::asio::steady_timer::time_point::max(); // of an attempt that has ended

// Whether the next attempt would fare no better: who may not use a socket now, or has no network of its kind,
// will not soon. Everything else may be different once the peer is there.
bool isPermanent(error_code const& error) {
    namespace errc = boost::system::errc;
    return error == errc::permission_denied || error == errc::operation_not_permitted ||
           error == errc::address_family_not_supported;
}

// A socket that connects to a port of this machine on which nobody listens may be given that very port as its
// own, and is then connected to itself.
bool isConnectedToItself(Socket const& socket) {
    error_code error;
    auto const local = socket.local_endpoint(error);
    return !error && local == socket.remote_endpoint(error) && !error;
}

} // namespace

SocketConnector::SocketConnector(std::shared_ptr<WorkerThread> const& worker,
                                 std::shared_ptr<IoObjects> objects, std::string endpoint,
                                 std::shared_ptr<EndpointHandler> handler, std::chrono::milliseconds timeout)
    : worker_(worker)
    , objects_(std::move(objects))
    , endpoint_(std::move(endpoint))
    , timeout_(timeout)
    , handler_(std::move(handler))
    , resolver_(worker)
    , socket_(worker->context())
    , deadline_(worker->context())
    , pause_(worker->context()) {}

void SocketConnector::start() {
    try {
        objects_->add(weak_from_this()); // may close it
        address_ = parsePeerEndpoint(endpoint_);
    } catch (std::exception const& error) {
        return fail(error.what());
    }
    guarded([this] { attempt(); });
}

// What goes wrong in an attempt, as for want of memory, ends the attempt only.
template <class Action>
void SocketConnector::guarded(Action const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        retry(error.what());
    }
}

void SocketConnector::attempt() {
    if (!handler_) {
        return;
    }
    limitTime();
    std::visit([this](auto const& address) { resolve(address); }, address_);
}

// Of what the attempt does next: of the look-up, or of the connection to one address.
void SocketConnector::limitTime() {
    timedOut_ = false;
    deadline_.expires_after(timeout_);
    deadline_.async_wait([self = shared_from_this()](error_code const& error) {
        if (error || self->deadline_.expiry() > std::chrono::steady_clock::now()) {
            return; // it has ended, perhaps at the very moment when its time was up
        }
        self->timedOut_ = true;
        error_code ignored;
        self->socket_.close(ignored);
        self->guarded([&] { self->resolver_.cancel(); });
    });
}

void SocketConnector::resolve(UnixAddress const& address) {
    connect({boost::asio::local::stream_protocol::endpoint(address.path)});
}

void SocketConnector::resolve(TcpAddress const& address) {
    resolver_.resolve(
        address, {},
        [self = shared_from_this()](std::vector<tcp::endpoint> const& found, std::string const& reason) {
            if (found.empty()) {
                return self->retry(reason);
            }
            self->guarded([&] { self->connect(Addresses(found.begin(), found.end())); });
        });
}

void SocketConnector::connect(Addresses addresses) {
    untried_ = std::move(addresses);
    failure_ = {};
    connectToNext();
}

void SocketConnector::connectToNext() {
    if (!handler_) {
        return;
    }
    auto const address = untried_.front();
    untried_.pop_front();
    error_code ignored;
    socket_.close(ignored);
    limitTime();
    if (auto const error = openSocket(socket_, address.protocol().family())) {
        return notConnected(error);
    }
    socket_.async_connect(address, [self = shared_from_this()](error_code const& error) {
        self->guarded([&] { self->ended(error); });
    });
}

void SocketConnector::ended(error_code const& error) {
    if (error) {
        return notConnected(error);
    }
    if (isConnectedToItself(socket_)) {
        return notConnected(boost::asio::error::connection_refused);
    }
    hand();
}

void SocketConnector::notConnected(error_code const& error) {
    if (!failure_ || !isPermanent(error)) {
        failure_ = timedOut_ ? boost::asio::error::timed_out : error;
    }
    if (!untried_.empty()) {
        connectToNext();
    } else if (isPermanent(failure_)) {
        fail(failure_.message());
    } else {
        retry(failure_.message());
    }
}

void SocketConnector::hand() {
    deadline_.expires_at(noDeadline);
    auto worker = worker_.lock();
    if (!handler_ || !worker) {
        return;
    }
    std::weak_ptr<SocketConnector> const weak = weak_from_this();
    SocketConnection::Owner owner;
    owner.confirmed = [weak] {
        if (auto const self = weak.lock()) {
            self->backoff_.reset();
        }
    };
    owner.ended = [weak](std::string_view reason) {
        if (auto const self = weak.lock()) {
            self->retry(reason);
        }
    };
    auto& context = worker->context();
    auto const connection =
        std::make_shared<SocketConnection>(std::exchange(socket_, Socket(context)), std::move(owner));
    objects_->add(connection);
    auto const handler = handler_; // the call may close the connector
    handler->opened(std::make_shared<SocketConnectionHandle>(std::move(worker), connection));
}

void SocketConnector::retry(std::string_view reason) {
    deadline_.expires_at(noDeadline);
    error_code ignored;
    socket_.close(ignored);
    if (!handler_) {
        return;
    }
    pause_.expires_after(backoff_.next());
    persistently([this] {
        pause_.async_wait([self = shared_from_this()](error_code const& error) {
            if (!error) {
                self->guarded([&] { self->attempt(); });
            }
        });
    });
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout_).count();
    auto const handler = handler_; // the call may close the connector
    handler->retrying(timedOut_ ? "no answer in " + std::to_string(seconds) + " seconds"
                                : std::string(reason));
}

void SocketConnector::fail(std::string_view reason) {
    auto const handler = handler_;
    close();
    if (handler) {
        persistently([&] { handler->failed("cannot connect to " + endpoint_ + ": " + std::string(reason)); });
    }
}

void SocketConnector::close() {
    handler_.reset();
    resolver_.cancel();
    deadline_.expires_at(noDeadline);
    pause_.cancel();
    error_code ignored;
    socket_.close(ignored);
}

} // namespace agent::spf::bundles::sockets
