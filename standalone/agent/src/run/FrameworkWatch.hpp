// Tells the main thread what the service framework does.
#ifndef AGENT_PROGRAM_RUN_FRAMEWORK_WATCH_HPP
#define AGENT_PROGRAM_RUN_FRAMEWORK_WATCH_HPP

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ListenerToken.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "run/Message.hpp"

namespace agent::program {

// While it lives, the events of the framework, the changes of endpoints, and the coming and going of services
// that stand for interfaces of peers are put into the mailbox, which must outlive the framework. Peers bring
// most of it about: the thread that brings the news waits for room there.
class FrameworkWatch {
public:
    FrameworkWatch(cppmicroservices::BundleContext context, MessageBox& messages);

    // Nothing is registered any more when it returns; calls that were under way on other threads may still
    // end.
    ~FrameworkWatch();

    FrameworkWatch(FrameworkWatch const&) = delete;
    FrameworkWatch& operator=(FrameworkWatch const&) = delete;

private:
    cppmicroservices::BundleContext context_;
    cppmicroservices::ServiceRegistrationU events_;
    cppmicroservices::ServiceRegistrationU endpoints_;
    cppmicroservices::ListenerToken remoteServices_;
};

} // namespace agent::program

#endif
