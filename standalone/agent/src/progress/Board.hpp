// What is known about a configuration at one moment: its publishers, their endpoints, and what peers offer.
#ifndef AGENT_PROGRAM_PROGRESS_BOARD_HPP
#define AGENT_PROGRAM_PROGRESS_BOARD_HPP

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "configuration/ConfigurationFile.hpp"
#include "run/Message.hpp"

namespace agent::program {

using spf::bundles::EndpointRole;
using spf::bundles::EndpointState;

char const* wordFor(EndpointRole role);   // "bind", "connect"
char const* wordFor(EndpointState state); // "bound", "connecting", ...

// Used by one thread at a time.
class Board {
public:
    using Clock = std::chrono::steady_clock;

    struct Endpoint {
        std::string endpoint;
        EndpointRole role;
        EndpointState state;
        std::string reason; // of the state; the last one seen
        Clock::time_point since;
    };
    struct Publisher {
        std::string uniqueID;
        bool awaitsEndpoints; // whether the publisher is ready only when its endpoints are
        std::vector<Endpoint> endpoints;
        bool servicesPublished = false;
        bool removed = false;
        std::string failure; // empty: none
    };
    struct ByIdentity {
        bool operator()(RemoteInterface const& one, RemoteInterface const& other) const;
    };
    // By how many connections each is reached: one whose end is not yet seen may be followed by another.
    using RemoteInterfaces = std::map<RemoteInterface, int, ByIdentity>;

    explicit Board(ConfigurationFile const& configuration);

    // Goes over to the next version of the configuration: nothing is published yet; endpoints that it shares
    // with the version so far keep their states.
    void reconfigure(ConfigurationFile const& configuration);

    std::vector<Publisher> const& publishers() const { return publishers_; }
    RemoteInterfaces const& remoteInterfaces() const { return remoteInterfaces_; }

    // Each takes a message in, and returns whether anything changed. Unknown publishers are passed over.
    bool apply(EndpointStatus const& status);
    bool apply(ServicesPublished const& message);
    bool apply(PublisherRemoved const& message);
    bool apply(PublisherFailed const& message);
    bool apply(RemoteInterface const& message);

    bool isReady() const;   // every awaited endpoint bound or connected, all services published
    bool isRemoved() const; // every publisher reported as removed
    bool sees(std::string const& interfaceName) const;

private:
    Publisher* find(std::string const& publisher);
    static Endpoint* find(Publisher& publisher, std::string const& endpoint, EndpointRole role);

    std::vector<Publisher> publishers_;
    RemoteInterfaces remoteInterfaces_;
};

bool isUp(Board::Endpoint const& endpoint); // bound or connected

} // namespace agent::program

#endif
