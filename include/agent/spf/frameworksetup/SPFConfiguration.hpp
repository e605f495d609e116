// The handle to a published configuration.
#ifndef AGENT_SPF_FRAMEWORKSETUP_SPF_CONFIGURATION_HPP
#define AGENT_SPF_FRAMEWORKSETUP_SPF_CONFIGURATION_HPP

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>

#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"
#include "agent/spf/frameworksetup/export.hpp"

namespace agent::spf::frameworksetup {

class SPFConfigurationBuilder;
class SPFConfigurationImpl;

// Owns a configuration that SPFConfigurationBuilder::build() published: answers questions about its content,
// waits until the framework has acted on it, turns it back into a builder, and withdraws it from
// ConfigurationAdmin when it is reset, replaced or destroyed. Requires of the host: getFramework() and, in
// the framework, a ConfigurationAdmin service; without them withdrawing does nothing.
//
// A handle is in one of three states:
//   empty      default-constructed, moved from or reset; holds nothing.
//   published  holds a configuration and its ID, and is responsible for withdrawing it.
//   detached   after modify() or waitForAllServicesToBeUnpublished(): not empty, but without an ID, so that
//              destruction withdraws nothing. Waits still work.
// Also published without an ID, hence nothing to withdraw: a configuration that was built while there was no
// ConfigurationAdmin.
//
// Withdrawal goes by the configuration ID. Two handles with one ID share one published configuration: the
// first to withdraw withdraws it for both. In particular `handle = builder.build()`, with a builder for the
// ID that `handle` holds, publishes and then, replacing the old content of `handle`, withdraws; use modify()
// to publish a next version.
//
// The framework reports a removal some time after the withdrawal, by the IDs of the publishers. A
// configuration that is built meanwhile, not with modify(), and has a publisher of the same ID takes that
// report for its own and hears no more: wait with waitForAllServicesToBeUnpublished() first. For a publisher
// that has reported an error that wait throws at once; only modify() helps there.
//
// A handle of static storage duration must be reset before the process exits: withdrawal needs the library's
// logger and the host, which may be gone when such a handle is destroyed.
//
// Not thread safe: one handle is used by one thread at a time; distinct handles are independent. What the
// framework and ConfigurationAdmin run on that thread inside a call may reset the handle or assign to it; the
// call goes on with the configuration that it began with.
class AGENT_SPF_FRAMEWORKSETUP_EXPORT SPFConfiguration {
public:
    SPFConfiguration();

    // Takes ownership; used by build().
    explicit SPFConfiguration(std::unique_ptr<SPFConfigurationImpl> published);

    // Takes over what `other` held, which is empty afterwards.
    SPFConfiguration(SPFConfiguration&& other) noexcept;

    // Withdraws the configuration that was held. Assigning a handle to itself does nothing. Failures of the
    // withdrawal are dropped.
    SPFConfiguration& operator=(SPFConfiguration&& other) noexcept;

    // Withdraws the configuration that is held. Failures of the withdrawal are dropped.
    ~SPFConfiguration();

    SPFConfiguration(SPFConfiguration const&) = delete;
    SPFConfiguration& operator=(SPFConfiguration const&) = delete;

    // Withdraws the configuration and leaves the handle empty. Failures of the withdrawal are dropped.
    void reset();

    // Whether the handle holds nothing at all; a detached one holds content or at least its tracker.
    bool empty() const;

    // The configuration ID; empty when there is nothing to withdraw. An empty handle answers with an empty
    // ID.
    std::string getConfigurationID() const;

    // Copies of the records, in no particular order. Empty for an empty handle. Throw what copying throws.
    std::vector<SPFServiceInterfaceConfiguration> getServiceInterfaceConfigurations() const;
    std::vector<SPFServicePublisherConfiguration> getServicePublisherConfigurations() const;

    // The interfaces that go out through a publisher, each once: first those mapped to all publishers, in the
    // order in which they were added (where among them one goes that was added without that mapping and got
    // it later is not specified), then those mapped to this one, by ascending ID. The publisher itself is not
    // looked up, so that for an unknown one the interfaces mapped to all publishers are returned.
    std::vector<SPFServiceInterfaceConfiguration>
    getServiceInterfaceConfigurationsForServicePublisher(std::string const& servicePublisherID) const;

    // Moves the content into a builder, whose build() publishes the next version under the same ID. The
    // handle is detached; it keeps serving waits for the version that it published. The builder is
    // responsible for the configuration from now on: dropped unbuilt it withdraws it. Of an empty handle: a
    // new builder with an empty ID; of a detached one: a builder with an empty ID and whatever content was
    // left.
    SPFConfigurationBuilder modify();

    // Block until the endpoints of a publisher, given by its unique ID, are bound and connected, or its
    // services published. Time-outs run on the steady clock from the moment of the call; zero or less checks
    // once, one beyond the clock's range waits without limit. Return whether it happened in time; false at
    // once for an empty handle or when nothing was published. Throw the error that the framework reported for
    // the publisher, and std::out_of_range for an ID that the configuration does not hold.
    bool waitForAllEndpoints(std::chrono::milliseconds const& timeout, std::string const& servicePublisherID);
    bool waitForAllServices(std::chrono::milliseconds const& timeout, std::string const& servicePublisherID);

    // The endpoints of a publisher that are outstanding: first those to connect, second those to bind. Empty
    // lists for an empty handle or when nothing was published. Throws std::out_of_range for an unknown ID.
    std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>
    listOutstandingEndpoints(std::string const& servicePublisherID);

    // Withdraws the configuration, if that has not happened yet, and blocks until the framework reports the
    // publisher's configuration as removed. Result and exceptions as of the other waits, and what
    // unregistering the listener at the end throws; a failure of the withdrawal itself is logged and not
    // thrown. Whatever comes of it, an unknown ID included, the configuration is withdrawn and the handle
    // detached; only when the framework fails to register the listener again for the reports of the removal,
    // that is thrown and nothing is withdrawn.
    //
    // With the return, unless it throws, the configuration ceases to listen until the next call: a removal
    // of another publisher that is reported in between is not seen, and a wait for it lasts as long as its
    // time-out.
    bool waitForAllServicesToBeUnpublished(std::chrono::milliseconds const& timeout,
                                           std::string const& servicePublisherID);

private:
    std::unique_ptr<SPFConfigurationImpl> implementation; // null: the empty handle
};

} // namespace agent::spf::frameworksetup

// What modify() returns. At the end, because that header needs this one.
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

#endif
