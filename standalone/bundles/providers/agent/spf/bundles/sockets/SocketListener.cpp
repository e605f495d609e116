#include "agent/spf/bundles/sockets/SocketListener.hpp"

#include <cstring>
#include <stdexcept>
#include <utility>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/local/stream_protocol.hpp>

namespace agent::spf::bundles::sockets {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

// How long to leave the queue of waiting peers alone when the process cannot accept one, as when it has too
// many open files.
constexpr std::chrono::milliseconds acceptPause{100};

} // namespace

SocketListener::SocketListener(std::shared_ptr<WorkerThread> const& worker,
                               std::shared_ptr<IoObjects> objects, std::string endpoint,
                               std::shared_ptr<EndpointHandler> handler)
    : worker_(worker)
    , objects_(std::move(objects))
    , endpoint_(std::move(endpoint))
    , handler_(std::move(handler))
    , resolver_(worker->context())
    , acceptor_(worker->context())
    , pause_(worker->context()) {}

void SocketListener::start() {
    objects_->add(weak_from_this());
    if (!handler_) {
        return;
    }
    try {
        std::visit([this](auto const& address) { listen(address); }, parseEndpoint(endpoint_));
    } catch (std::exception const& error) {
        fail(error.what());
    }
}

void SocketListener::listen(UnixAddress const& address) {
    acceptor_.open(boost::asio::local::stream_protocol());
    file_.emplace(acceptor_.native_handle(), address.path);
    auto const handler = handler_; // the call may close the listener
    handler->bound(endpoint_);
    accept();
}

void SocketListener::listen(TcpAddress const& address) {
    error_code notNumeric;
    auto const numeric = boost::asio::ip::make_address(address.host, notNumeric);
    if (!notNumeric) {
        return listen(tcp::endpoint(numeric, address.port), address.host);
    }
    resolver_.async_resolve(
        address.host, std::to_string(address.port), tcp::resolver::passive | tcp::resolver::numeric_service,
        [self = shared_from_this(), host = address.host](error_code const& error,
                                                         tcp::resolver::results_type const& results) {
            if (!self->handler_) {
                return;
            }
            try {
                if (error || results.empty()) {
                    throw std::runtime_error("no such host \"" + host + "\" (" + error.message() + ")");
                }
                self->listen(results.begin()->endpoint(), host);
            } catch (std::exception const& failure) {
                self->fail(failure.what());
            }
        });
}

void SocketListener::listen(tcp::endpoint const& address, std::string const& host) {
    auto const check = [](error_code const& error) {
        if (error) {
            throw std::runtime_error(error.message());
        }
    };
    error_code error;
    acceptor_.open(address.protocol(), error);
    check(error);
    acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
    check(error);
    acceptor_.bind(address, error);
    check(error);
    acceptor_.listen(tcp::acceptor::max_listen_connections, error);
    check(error);
    auto const handler = handler_; // the call may close the listener
    tcp::endpoint bound;
    auto const actual = acceptor_.local_endpoint(error);
    check(error);
    std::memcpy(bound.data(), actual.data(), actual.size());
    handler->bound(tcpEndpointText(host, bound.port()));
    accept();
}

void SocketListener::accept() {
    if (!handler_) {
        return;
    }
    acceptor_.async_accept([self = shared_from_this()](error_code const& error, Socket socket) {
        if (!self->handler_) {
            return;
        }
        if (!error) {
            self->hand(std::move(socket));
            return self->accept();
        }
        self->pause_.expires_after(acceptPause);
        self->pause_.async_wait([self](error_code const&) { self->accept(); });
    });
}

void SocketListener::hand(Socket socket) {
    auto worker = worker_.lock();
    if (!worker) {
        return;
    }
    auto const connection = std::make_shared<SocketConnection>(std::move(socket), SocketConnection::Owner{});
    objects_->add(connection);
    auto const handler = handler_; // the call may close the listener
    handler->opened(std::make_shared<SocketConnectionHandle>(std::move(worker), connection));
}

void SocketListener::fail(std::string const& reason) {
    auto const handler = handler_;
    close();
    if (handler) {
        handler->failed("cannot bind " + endpoint_ + ": " + reason);
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
