// Look-ups on threads of their own.
#include "agent/spf/bundles/sockets/HostResolver.hpp"

#include <exception>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include <pthread.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::sockets {

using boost::asio::ip::tcp;
using boost::system::error_code;

namespace {

// What a look-up comes to.
struct Found {
    std::vector<tcp::endpoint> addresses;
    std::string reason;
};

Found lookUpNow(std::string const& host, std::string const& port, tcp::resolver::flags flags) try {
    boost::asio::io_context context;
    tcp::resolver resolver(context);
    error_code error;
    auto const results = resolver.resolve(host, port, flags | tcp::resolver::numeric_service, error);
    if (error || results.empty()) {
        return {{}, "no such host \"" + host + "\" (" + error.message() + ")"};
    }
    return {{results.begin(), results.end()}, {}};
} catch (std::exception const& error) {
    return {{}, error.what()}; // on a thread of its own, where nobody else catches it
}

} // namespace

// Shared with its thread, which hands it on to the worker; looked at on the worker only.
struct HostResolver::LookUp {
    void end(Found const& found) {
        isOver = true;
        if (auto const report = std::exchange(done, nullptr)) {
            report(found.addresses, found.reason);
        }
    }

    bool isOver = false;
    Done done; // empty when nobody awaits the outcome
};

HostResolver::HostResolver(std::shared_ptr<WorkerThread> const& worker)
    : worker_(worker) {}

void HostResolver::resolve(TcpAddress const& address, tcp::resolver::flags flags, Done done) {
    error_code notNumeric;
    auto const numeric = boost::asio::ip::make_address(address.host, notNumeric);
    if (!notNumeric) {
        return done({tcp::endpoint(numeric, address.port)}, "");
    }
    try {
        if (!lookUp_ || lookUp_->isOver) {
            startLookUp(address.host, std::to_string(address.port), flags);
        }
    } catch (std::system_error const& error) {
        return done({}, "cannot look up \"" + address.host + "\" (" + error.what() + ")");
    }
    lookUp_->done = std::move(done);
}

void HostResolver::startLookUp(std::string const& host, std::string const& port, tcp::resolver::flags flags) {
    auto lookUp = std::make_shared<LookUp>();
    std::thread([weakWorker = worker_, lookUp, host, port, flags] {
        ::pthread_setname_np(::pthread_self(), "spf-resolver");
        auto const found = lookUpNow(host, port, flags);
        if (auto const worker = weakWorker.lock()) {
            try {
                persistently([&] { worker->post([lookUp, found] { lookUp->end(found); }); });
            } catch (std::bad_alloc const&) {
                // The look-up does not end. Who connects gives it up in time; who binds waits.
            }
        }
    }).detach();
    lookUp_ = std::move(lookUp);
}

// The outcome must not wait in the look-up for one that never comes: whoever awaits it would live as long.
void HostResolver::cancel() {
    auto const worker = worker_.lock();
    if (!lookUp_ || !lookUp_->done || !worker) {
        return;
    }
    worker->post([done = std::exchange(lookUp_->done, nullptr)] { done({}, "cancelled"); });
}

} // namespace agent::spf::bundles::sockets
