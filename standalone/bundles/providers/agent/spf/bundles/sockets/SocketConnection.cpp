#include "agent/spf/bundles/sockets/SocketConnection.hpp"

#include <stdexcept>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/read.hpp>

namespace agent::spf::bundles::sockets {

namespace {

using boost::system::error_code;

std::string reasonOf(error_code const& error) {
    if (error == boost::asio::error::eof || error == boost::asio::error::connection_reset ||
        error == boost::asio::error::broken_pipe) {
        return closedByPeer;
    }
    return error.message();
}

void setOption(int descriptor, int level, int name, int value) {
    ::setsockopt(descriptor, level, name, &value, sizeof(value)); // what the system refuses is not needed
}

// Lets the system notice a TCP peer whose machine or network is gone: after about 25 seconds of silence, and
// 30 seconds after sending something that is not acknowledged.
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
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, 3);          // probes
    setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, 30000); // milliseconds
}

} // namespace

SocketConnection::SocketConnection(Socket socket, Owner owner)
    : socket_(std::move(socket))
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
    readHeader();
}

void SocketConnection::readHeader() {
    boost::asio::async_read(socket_, boost::asio::buffer(header_),
                            [self = shared_from_this()](error_code const& error, std::size_t) {
                                if (self->ended_) {
                                    return;
                                }
                                if (error) {
                                    return self->finish(reasonOf(error));
                                }
                                auto const size = frameSize(self->header_);
                                if (!isFrameSize(size)) {
                                    return self->finish("the peer sent a frame of " + std::to_string(size) +
                                                        " bytes, allowed are 1 to " +
                                                        std::to_string(maximumFrameSize));
                                }
                                self->readBody(size);
                            });
}

void SocketConnection::readBody(std::size_t size) {
    body_.resize(size);
    boost::asio::async_read(socket_, boost::asio::buffer(body_),
                            [self = shared_from_this()](error_code const& error, std::size_t) {
                                if (self->ended_) {
                                    return;
                                }
                                if (error) {
                                    return self->finish(reasonOf(error));
                                }
                                auto const handler = self->handler_; // the call may end the connection
                                handler->received(std::exchange(self->body_, {}));
                                if (!self->ended_) {
                                    self->readHeader();
                                }
                            });
}

void SocketConnection::send(std::string const& frame) {
    if (ended_) {
        return;
    }
    queue_.push_back(encodeFrame(frame));
    queued_ += queue_.back().size();
    if (queued_ > maximumQueue) {
        return finish("the peer does not read what is sent to it");
    }
    flush();
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
            self->flush();
        }
    });
}

void SocketConnection::writeWhatTheSystemTakes() {
    while (!queue_.empty()) {
        auto const& bytes = queue_.front();
        error_code error;
        auto const count =
            socket_.write_some(boost::asio::buffer(bytes.data() + written_, bytes.size() - written_), error);
        if (error == boost::asio::error::would_block || error == boost::asio::error::try_again) {
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

void SocketConnection::confirm() {
    if (!ended_ && owner_.confirmed) {
        owner_.confirmed();
    }
}

void SocketConnection::close() {
    reject("connection closed");
}

void SocketConnection::reject(std::string const& reason) {
    if (ended_) {
        return;
    }
    handler_.reset();
    writeWhatTheSystemTakes();
    finishQuietly(reason);
}

void SocketConnection::finish(std::string const& reason) {
    if (auto const handler = std::exchange(handler_, nullptr)) {
        finishQuietly(reason);
        handler->closed(reason);
    } else {
        finishQuietly(reason);
    }
}

void SocketConnection::finishQuietly(std::string const& reason) {
    if (std::exchange(ended_, true)) {
        return;
    }
    error_code ignored;
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.close(ignored);
    if (auto const owner = std::exchange(owner_, {}); owner.ended) {
        owner.ended(reason);
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
