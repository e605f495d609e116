// What an update or a removal means for each publisher.
#include "agent/spf/bundles/framework/PublisherConfigurations.hpp"

#include <utility>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::framework {

std::string pidOf(PublisherEntry const& entry) {
    return entry.factoryPID + "~" + entry.instanceName;
}

PublisherConfigurations::PublisherConfigurations(PublisherEnvironment& environment)
    : environment_(environment) {}

void PublisherConfigurations::updated(std::string const& instance,
                                      cppmicroservices::AnyMap const& configuration) {
    auto const read = publisherEntries(instance, configuration);
    std::set<std::string> erroneous;
    for (auto const& error : read.errors) {
        environment_.reportError(error.publisherID.value_or(instance), read.modificationCount, error.text);
        if (error.publisherID) {
            erroneous.insert(*error.publisherID);
        }
    }
    std::set<std::string> pids;
    for (auto const& entry : read.entries) {
        pids.insert(pidOf(entry));
    }
    auto& current = pidsOfConfigurations_[instance];
    for (auto const& pid : current) {
        // A publisher that the new configuration says nothing sensible about goes on with the old one.
        auto const found = managed_.find(pid);
        auto const isErroneous =
            found != managed_.end() && erroneous.count(found->second.entry.uniqueID) != 0;
        if (isErroneous || read.isUnreadable) {
            pids.insert(pid);
        } else if (pids.count(pid) == 0) {
            withdraw(pid);
        }
    }
    current = std::move(pids);
    for (auto const& entry : read.entries) {
        apply(entry);
    }
}

void PublisherConfigurations::removed(std::string const& instance) {
    auto const found = pidsOfConfigurations_.find(instance);
    if (found == pidsOfConfigurations_.end()) {
        return;
    }
    auto& pids = found->second;
    while (!pids.empty()) { // one that could not be withdrawn is there when this is called again
        withdraw(*pids.begin());
        pids.erase(pids.begin());
    }
    pidsOfConfigurations_.erase(found);
}

void PublisherConfigurations::withdrawn(std::string const& pid) {
    if (auto const found = managed_.find(pid); found != managed_.end()) {
        found->second.withdrawn = true;
    }
    finishWithdrawal(pid);
}

void PublisherConfigurations::publishersGone(std::string const& factoryPID) {
    std::vector<std::string> pids;
    for (auto const& [pid, managed] : managed_) {
        if (managed.entry.factoryPID == factoryPID) {
            pids.push_back(pid);
        }
    }
    for (auto const& pid : pids) {
        finishWithdrawal(pid);
    }
}

void PublisherConfigurations::apply(PublisherEntry const& entry) {
    auto const found = managed_.find(pidOf(entry));
    if (found != managed_.end() && found->second.isWithdrawing()) {
        found->second.successor = entry;
    } else {
        takeEffect(entry);
    }
}

void PublisherConfigurations::takeEffect(PublisherEntry const& entry) {
    persistently([&] { managed_.insert_or_assign(pidOf(entry), Managed{entry, {}, {}}); });
    try {
        environment_.update(entry);
    } catch (std::exception const& error) {
        persistently([&] {
            environment_.reportError(entry.uniqueID, entry.modificationCount,
                                     "publisher \"" + entry.uniqueID + "\": " + error.what());
        });
    }
}

void PublisherConfigurations::withdraw(std::string const& pid) {
    auto const found = managed_.find(pid);
    if (found == managed_.end()) {
        return;
    }
    auto& managed = found->second;
    if (managed.isWithdrawing()) {
        if (managed.successor) {
            managed.removedCounts.push_back(managed.successor->modificationCount);
            managed.successor.reset();
        }
        return;
    }
    managed.removedCounts.push_back(managed.entry.modificationCount);
    if (!environment_.remove(managed.entry) || managed.withdrawn) {
        finishWithdrawal(pid);
    }
}

void PublisherConfigurations::finishWithdrawal(std::string const& pid) {
    auto const found = managed_.find(pid);
    if (found == managed_.end() || !found->second.isWithdrawing()) {
        return;
    }
    auto const managed = std::move(found->second);
    managed_.erase(found);
    for (auto const count : managed.removedCounts) {
        environment_.reportRemoved(managed.entry.uniqueID, count);
    }
    if (managed.successor) {
        takeEffect(*managed.successor);
    }
}

} // namespace agent::spf::bundles::framework
