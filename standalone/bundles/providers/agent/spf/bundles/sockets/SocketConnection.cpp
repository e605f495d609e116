// Reading and writing without blocking, and how a connection ends.
#include "agent/spf/bundles/sockets/SocketConnection.hpp"

#include <array>
#include <exception>
#include <stdexcept>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::sockets {

namespace {

using boost::system::error_code;

std::string reasonOf(error_code const& error) {
    if (error == boost::asio::error::eof || error == boost::asio::error::connection_reset ||
        error == boost::asio::error::broken_pipe) {
        return "connection closed by the peer";
    }
    return error.message();
}

bool isNotNow(error_code const& error) {
    return error == boost::asio::error::would_block || error == boost::asio::error::try_again;
}

// Neither of those who are told of an end keeps the other from it.
template <class Call>
void tell(Call const& call) noexcept {
    try {
        call();
    } catch (std::exception const&) {
        // No memory came in time.
    }
}

void setOption(int descriptor, int level, int name, int value) {
    ::setsockopt(descriptor, level, name, &value, sizeof(value)); // what the system refuses is not needed
}

// Lets the system notice a TCP peer whose machine or network is gone: after 30 seconds in which it answers
// neither what is sent nor, in a silent connection, the probes. The user time-out, not a number of probes,
// says when to give up on either.
void watchOverTcp(Socket& socket) {
    error_code error;
    auto const family = socket.local_endpoint(error).protocol().family();
    if (error || (family != AF_INET && family != AF_INET6)) {
        return;
    }
    auto const descriptor = socket.native_handle();
    setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, 10);        // seconds
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, 5);        // seconds
    setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, 30000); // milliseconds
}

} // namespace

SocketConnection::SocketConnection(Socket socket, Owner owner)
    : socket_(std::move(socket))
    , origin_(originOf(socket_))
    , owner_(std::move(owner)) {
    watchOverTcp(socket_);
    error_code error;
    socket_.non_blocking(true, error); // an error shows at the first use
}

void SocketConnection::start(std::shared_ptr<ConnectionHandler> handler) {
    if (ended_) {
        handler->closed("connection closed");
        return;
    }
    handler_ = std::move(handler);
    guarded([this] { awaitBytes(); });
}

// What goes wrong, as for want of memory, ends the connection: one that stayed would never go on.
template <class Action>
void SocketConnection::guarded(Action const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        finish(error.what());
    }
}

void SocketConnection::awaitBytes() {
    socket_.async_wait(Socket::wait_read, [self = shared_from_this()](error_code const&) {
        if (!self->ended_) {
            self->guarded([&] { self->readBytes(); });
        }
    });
}

// Reads once and then waits for its turn again, so that no peer keeps the thread from the others.
void SocketConnection::readBytes() {
    std::array<char, 65536> buffer;
    error_code error;
    auto const count = socket_.read_some(boost::asio::buffer(buffer), error);
    if (isNotNow(error)) {
        return awaitBytes();
    }
    if (error) {
        return finish(reasonOf(error));
    }
    decode({buffer.data(), count});
}

void SocketConnection::decode(std::string_view bytes) {
    auto const handler = handler_; // a call may end the connection
    while (auto frame = decoder_.take(bytes)) {
        handler->received(*std::move(frame));
        if (ended_) {
            return;
        }
    }
    awaitBytes();
}

void SocketConnection::send(std::string const& frame) {
    if (ended_) {
        return;
    }
    guarded([&] {
        queue_.push_back(encodeFrame(frame));
        queued_ += queue_.back().size();
        if (queued_ > maximumQueue) {
            return finish("the peer does not read what is sent to it");
        }
        flush();
    });
}

void SocketConnection::flush() {
    writeWhatTheSystemTakes();
    if (ended_ || queue_.empty() || awaitingWrite_) {
        return;
    }
    awaitingWrite_ = true;
    socket_.async_wait(Socket::wait_write, [self = shared_from_this()](error_code const&) {
        self->awaitingWrite_ = false;
        if (!self->ended_) {
            self->guarded([&] { self->flush(); });
        }
    });
}

void SocketConnection::writeWhatTheSystemTakes() {
    while (!queue_.empty()) {
        auto const& bytes = queue_.front();
        error_code error;
        auto const count =
            socket_.write_some(boost::asio::buffer(bytes.data() + written_, bytes.size() - written_), error);
        if (isNotNow(error)) {
            return;
        }
        if (error) {
            return finish(reasonOf(error));
        }
        written_ += count;
        if (written_ == bytes.size()) {
            queued_ -= bytes.size();
            queue_.pop_front();
            written_ = 0;
        }
    }
}

void SocketConnection::confirm() const {
    if (owner_.confirmed) {
        owner_.confirmed();
    }
}

void SocketConnection::close() {
    reject("connection closed");
}

void SocketConnection::reject(std::string_view reason) {
    if (ended_) {
        return;
    }
    handler_.reset();
    guarded([this] { writeWhatTheSystemTakes(); });
    finish(reason);
}

void SocketConnection::finish(std::string_view reason) noexcept {
    if (std::exchange(ended_, true)) {
        return;
    }
    error_code ignored;
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.close(ignored);
    queue_.clear();
    // The handler before the owner, which goes on to the next attempt and reports that.
    if (auto const handler = std::exchange(handler_, nullptr)) {
        tell([&] { persistently([&] { handler->closed(std::string(reason)); }); });
    }
    if (auto const owner = std::exchange(owner_, {}); owner.ended) {
        tell([&] { owner.ended(reason); });
    }
}

SocketConnectionHandle::SocketConnectionHandle(std::shared_ptr<WorkerThread> worker,
                                               std::shared_ptr<SocketConnection> connection)
    : worker_(std::move(worker))
    , connection_(std::move(connection)) {}

SocketConnectionHandle::~SocketConnectionHandle() {
    close();
}

void SocketConnectionHandle::start(std::shared_ptr<ConnectionHandler> handler) {
    worker_->post([connection = connection_, handler = std::move(handler)] { connection->start(handler); });
}

void SocketConnectionHandle::send(std::string frame) {
    if (!isFrameSize(frame.size())) {
        throw std::length_error("a frame has 1 to " + std::to_string(maximumFrameSize) +
                                " bytes, this one has " + std::to_string(frame.size()));
    }
    worker_->post([connection = connection_, frame = std::move(frame)] { connection->send(frame); });
}

void SocketConnectionHandle::confirm() {
    worker_->post([connection = connection_] { connection->confirm(); });
}

void SocketConnectionHandle::close() {
    worker_->run([this] { connection_->close(); });
}

void SocketConnectionHandle::reject(std::string const& reason) {
    worker_->run([this, &reason] { connection_->reject(reason); });
}

} // namespace agent::spf::bundles::sockets
