// From the host of a TCP endpoint to the addresses that it stands for.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_HOST_RESOLVER_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_HOST_RESOLVER_HPP

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/ip/tcp.hpp>

#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/sockets/EndpointAddress.hpp"

namespace agent::spf::bundles::sockets {

// Resolves the host of one endpoint. Used on the io thread only, but for its construction.
//
// The system's look-up of a name may take minutes when no name server answers, and cannot be broken off. So
// each has a thread of its own, for which neither other endpoints nor the end of the process wait.
class HostResolver {
public:
    using Endpoint = boost::asio::ip::tcp::endpoint;

    // The addresses, in the order in which they are to be tried; or none, and the reason why.
    using Done = std::function<void(std::vector<Endpoint> const& addresses, std::string const& reason)>;

    explicit HostResolver(std::shared_ptr<WorkerThread> const& worker);

    // Calls `done` once: at once for a numeric address, or when there can be no thread; else as a task of the
    // worker, when the name is resolved or cancel() is called. One at a time, always of the same address.
    void resolve(TcpAddress const& address, boost::asio::ip::tcp::resolver::flags flags, Done done);

    // Does nothing when nothing is being resolved. The system's look-up may go on; then the next resolve()
    // awaits its outcome.
    void cancel();

private:
    struct LookUp;

    void startLookUp(std::string const& host, std::string const& port,
                     boost::asio::ip::tcp::resolver::flags flags);

    std::weak_ptr<WorkerThread> const worker_;
    std::shared_ptr<LookUp> lookUp_; // the one under way
};

} // namespace agent::spf::bundles::sockets

#endif
