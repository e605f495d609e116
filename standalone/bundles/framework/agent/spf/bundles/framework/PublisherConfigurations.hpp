// Keeps the publisher configurations in step with the published ones, and tells when one is gone for good.
#ifndef AGENT_SPF_BUNDLES_FRAMEWORK_PUBLISHER_CONFIGURATIONS_HPP
#define AGENT_SPF_BUNDLES_FRAMEWORK_PUBLISHER_CONFIGURATIONS_HPP

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/spf/bundles/framework/PublisherEntries.hpp"

namespace agent::spf::bundles::framework {

// What PublisherConfigurations acts on. PIDs are those of publisher configurations.
class PublisherEnvironment {
public:
    virtual ~PublisherEnvironment() = default;

    // Creates or updates the publisher configuration. Throws when that is not possible.
    virtual void update(PublisherEntry const& entry) = 0;

    // Removes the publisher configuration; false if nobody will say when its publisher has withdrawn, because
    // there is no such configuration or no publisher for its factory PID.
    virtual bool remove(PublisherEntry const& entry) = 0;

    virtual void reportRemoved(std::string const& publisherID, std::uint32_t modificationCount) = 0;

    // An error about a configuration as a whole is reported with its instance name instead of a publisher's
    // ID.
    virtual void reportError(std::string const& publisherID, std::uint32_t modificationCount,
                             std::string const& text) = 0;
};

// A publisher configuration that was removed is withdrawn by its publisher in its own time. Until the
// publisher says so the removal is not reported, and a configuration that comes again under the same PID
// waits.
//
// Not thread safe; calls back the environment only from within its operations.
class PublisherConfigurations {
public:
    explicit PublisherConfigurations(PublisherEnvironment& environment);

    // A configuration is there or has changed: updates, adds and removes publisher configurations.
    void updated(std::string const& instance, cppmicroservices::AnyMap const& configuration);

    // A configuration was removed.
    void removed(std::string const& instance);

    // The publisher of this PID has nothing left of a configuration that was removed, or that will be: when
    // Configuration Admin stops, publishers and the owner of this object are told in any order. If somebody
    // else has removed the configuration just before an update, this counts for what the update brought,
    // whose removal is then reported too early: Configuration Admin need not tell a publisher of every update
    // and every removal when they follow each other closely, so there is nothing to count by.
    void withdrawn(std::string const& pid);

    // There is no publisher for this factory PID any more: nothing is left of what it was to withdraw.
    void publishersGone(std::string const& factoryPID);

private:
    struct Managed {
        PublisherEntry entry;                      // the one that is in effect or being withdrawn
        std::vector<std::uint32_t> removedCounts;  // modification counts whose removal is to be reported
        std::optional<PublisherEntry> successor{}; // takes effect once the withdrawal is done
        bool withdrawn = false;                    // before anybody asked: by a stop of Configuration Admin
        bool isWithdrawing() const noexcept { return !removedCounts.empty(); }
    };

    void apply(PublisherEntry const& entry);
    void takeEffect(PublisherEntry const& entry);
    void withdraw(std::string const& pid);
    void finishWithdrawal(std::string const& pid);

    PublisherEnvironment& environment_;
    std::map<std::string, Managed> managed_; // by PID
    // By instance name, the PIDs in effect; a modification that ran out of memory may have left some
    // unmanaged.
    std::map<std::string, std::set<std::string>> pidsOfConfigurations_;
};

// The PID of a publisher's configuration.
std::string pidOf(PublisherEntry const& entry);

} // namespace agent::spf::bundles::framework

#endif
