// What can happen while the agent runs, as its threads tell the main thread.
#ifndef AGENT_PROGRAM_RUN_MESSAGE_HPP
#define AGENT_PROGRAM_RUN_MESSAGE_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "agent/spf/bundles/EndpointStatusListener.hpp"
#include "configuration/ConfigurationFile.hpp"
#include "run/Mailbox.hpp"

namespace agent::program {

// From the service framework. A count is that of the modification that the message is about.
using spf::bundles::EndpointStatus;
struct ServicesPublished {
    std::string publisher;
    std::uint32_t modificationCount;
};
struct PublisherRemoved {
    std::string publisher;
    std::uint32_t modificationCount;
};
struct PublisherFailed {
    std::string publisher;
    std::string reason;
    std::uint32_t modificationCount;
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
    std::uint32_t modificationCount;
};
struct ConfigurationAdopted { // one that came from no file
    ConfigurationFile configuration;
};
struct ConfigurationReady {
    std::uint32_t modificationCount;
};
struct ConfigurationFailed {
    std::string reason;
    std::optional<std::uint32_t> modificationCount; // nothing: of all, for the framework is being stopped
};
struct ConfigurationWithdrawn {};
struct FrameworkStopped {};

// From outside the process.
struct SignalReceived { // which asks the process to end
    int number;
};
struct ReloadRequested {
    std::string cause;
};
struct TerminalResized {};

using Message =
    std::variant<EndpointStatus, ServicesPublished, PublisherRemoved, PublisherFailed, RemoteInterface,
                 ConfigurationPublished, ConfigurationAdopted, ConfigurationReady, ConfigurationFailed,
                 ConfigurationWithdrawn, FrameworkStopped, SignalReceived, ReloadRequested, TerminalResized>;
using MessageBox = Mailbox<Message>;

} // namespace agent::program

#endif
