// Reading of published configurations, error by error.
#include "agent/spf/bundles/framework/PublisherEntries.hpp"

#include <map>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/common/Properties.hpp"

namespace agent::spf::bundles::framework {

namespace {

using cppmicroservices::AnyMap;

class Reader {
public:
    Reader(std::string const& instance, AnyMap const& configuration)
        : instance_(instance)
        , where_("configuration \"" + instance + "\"")
        , configuration_(configuration) {}

    PublisherEntries read() {
        guarded(std::nullopt, [this] {
            result_.modificationCount =
                static_cast<std::uint32_t>(intAt(configuration_, keys::modificationCount, where_));
            readInterfaces();
            readPublishers();
            readMappings();
        });
        if (result_.isUnreadable) {
            failPublishers();
        } else {
            addEntries();
        }
        return std::move(result_);
    }

private:
    // Runs a step; what it throws is an error about the publisher, or about the configuration as a whole.
    template <class Step>
    void guarded(std::optional<std::string> const& publisherID, Step step) {
        try {
            step();
        } catch (std::bad_alloc const&) {
            throw; // the configuration is not to blame
        } catch (std::exception const& error) {
            fail(publisherID, error.what());
        }
    }

    void fail(std::optional<std::string> const& publisherID, std::string text) {
        result_.errors.push_back({publisherID, std::move(text)});
        if (publisherID) {
            failed_.insert(*publisherID);
        } else {
            result_.isUnreadable = true;
        }
    }

    void readInterfaces() {
        for (auto const& element : listAt(configuration_, keys::serviceConfigurations, where_)) {
            auto const& interface = asMap(element, where_ + ": an interface");
            interfaces_[stringAt(interface, keys::uniqueID, where_ + ": an interface")] = &interface;
        }
    }

    void readPublishers() {
        for (auto const& element : listAt(configuration_, keys::servicePublisherConfigurations, where_)) {
            auto const& publisher = asMap(element, where_ + ": a publisher");
            auto const& uniqueID = stringAt(publisher, keys::uniqueID, where_ + ": a publisher");
            if (!publishers_.emplace(uniqueID, &publisher).second) {
                fail(uniqueID, where_ + ": the unique ID \"" + uniqueID + "\" stands for two publishers");
            }
        }
    }

    void readMappings() {
        for (auto const& element : listAt(configuration_, keys::servicePublisherMappings, where_)) {
            auto const& mapping = asMap(element, where_ + ": a mapping");
            auto const& publisherID = stringAt(mapping, keys::publisherID, where_ + ": a mapping");
            guarded(publisherID, [&] { readMapping(mapping, publisherID); });
        }
    }

    void readMapping(AnyMap const& mapping, std::string const& publisherID) {
        auto const& serviceID = stringAt(mapping, keys::serviceID, where_ + ": a mapping");
        auto const interface = interfaces_.find(serviceID);
        if (interface == interfaces_.end()) {
            throw std::runtime_error(where_ + ": publisher \"" + publisherID +
                                     "\" is mapped to the unknown interface \"" + serviceID + "\"");
        }
        if (publishers_.count(publisherID) == 0) {
            throw std::runtime_error(where_ + ": interface \"" + serviceID +
                                     "\" is mapped to the unknown publisher \"" + publisherID + "\"");
        }
        mapped_[publisherID].emplace_back(*interface->second);
    }

    // The configuration as a whole cannot be read: its publishers learn why.
    void failPublishers() {
        auto const reason = result_.errors.back().text;
        for (auto const& [uniqueID, publisher] : publishers_) {
            if (failed_.count(uniqueID) == 0) {
                fail(uniqueID, reason);
            }
        }
    }

    void addEntries() {
        for (auto const& [uniqueID, publisher] : publishers_) {
            if (failed_.count(uniqueID) == 0) {
                guarded(uniqueID, [&, &id = uniqueID, map = publisher] { addEntry(id, *map); });
            }
        }
    }

    void addEntry(std::string const& uniqueID, AnyMap const& publisher) {
        auto const where = where_ + ": publisher \"" + uniqueID + "\"";
        auto const& factoryPID = stringAt(publisher, keys::factoryPID, where);
        if (factoryPID.empty()) {
            throw std::runtime_error(where + ": \"factoryPID\" is empty");
        }
        auto properties = makeMap();
        properties[keys::uniqueID] = uniqueID;
        properties[keys::name] = stringAt(publisher, keys::name, where);
        properties[keys::config] = mapAt(publisher, keys::config, where);
        properties[keys::serviceConfigurations] = mapped_[uniqueID];
        properties[keys::modificationCount] = static_cast<int>(result_.modificationCount);
        result_.entries.push_back({factoryPID, publisherInstanceName(instance_, uniqueID), uniqueID,
                                   result_.modificationCount, std::move(properties)});
    }

    std::string const& instance_;
    std::string const where_;
    AnyMap const& configuration_;
    std::map<std::string, AnyMap const*> interfaces_;
    std::map<std::string, AnyMap const*> publishers_;
    std::map<std::string, AnyList> mapped_; // by publisher, its interfaces
    std::set<std::string> failed_;          // publishers that have an error
    PublisherEntries result_;
};

} // namespace

PublisherEntries publisherEntries(std::string const& instance, AnyMap const& configuration) {
    if (configuration.empty()) {
        return {};
    }
    return Reader(instance, configuration).read();
}

std::string publisherInstanceName(std::string const& instance, std::string const& publisherID) {
    return std::to_string(instance.size()) + ":" + instance + ":" + publisherID;
}

} // namespace agent::spf::bundles::framework
