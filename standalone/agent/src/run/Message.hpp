// What can happen while the agent runs, as its threads tell the main thread.
#ifndef AGENT_PROGRAM_RUN_MESSAGE_HPP
#define AGENT_PROGRAM_RUN_MESSAGE_HPP

#include <string>
#include <variant>
#include <vector>

#include "agent/spf/bundles/EndpointStatusListener.hpp"
#include "run/Mailbox.hpp"

namespace agent::program {

// From the service framework.
using spf::bundles::EndpointStatus;
struct ServicesPublished {
    std::string publisher;
};
struct PublisherRemoved {
    std::string publisher;
};
struct PublisherFailed {
    std::string publisher;
    std::string reason;
};
struct RemoteInterface {
    std::string interfaceName;
    std::string uniqueID;
    std::string publisher; // of the peer
    std::string peer;
    std::string endpoint;       // of this process
    std::string localPublisher; // through which it is imported
    bool available;             // false: it has gone
};

// From the thread that drives the configuration.
struct ConfigurationPublished {
    std::string configurationID;
};
struct ConfigurationReady {};
struct OutstandingEndpoints { // of a configuration that is withdrawn before it was ready
    struct Publisher {
        std::string publisher;
        std::vector<std::string> toConnect;
        std::vector<std::string> toBind;
    };
    std::vector<Publisher> publishers;
};
struct ConfigurationFailed {
    std::string reason;
};
struct ConfigurationWithdrawn {};
struct FrameworkStopped {};

// From the thread that waits for signals.
struct SignalReceived {
    int number;
};

using Message =
    std::variant<EndpointStatus, ServicesPublished, PublisherRemoved, PublisherFailed, RemoteInterface,
                 ConfigurationPublished, ConfigurationReady, OutstandingEndpoints, ConfigurationFailed,
                 ConfigurationWithdrawn, FrameworkStopped, SignalReceived>;
using MessageBox = Mailbox<Message>;

} // namespace agent::program

#endif
