// Any operations on a builder, against a plain model of what it holds; build() and modify() among them. There
// is no framework, so that building publishes nothing.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "require.hpp"

namespace {

using namespace agent::spf::frameworksetup;

struct Interface {
    std::string content; // its name, and the value of its one property
    bool mappedToAll;
};

struct Model {
    std::map<std::string, Interface> interfaces;
    std::map<std::string, std::string> publishers; // by ID, their names
    std::set<std::pair<std::string, std::string>> mappings;

    void putInterface(std::string const& id, std::string const& content, bool toAll) {
        auto& entry = interfaces.emplace(id, Interface{content, false}).first->second;
        entry.content = content;
        entry.mappedToAll = entry.mappedToAll || toAll;
    }

    void eraseMappings(std::string const& serviceID, std::string const& publisherID) {
        for (auto mapping = mappings.begin(); mapping != mappings.end();) {
            auto const goes = mapping->first == serviceID || mapping->second == publisherID;
            mapping = goes ? mappings.erase(mapping) : std::next(mapping);
        }
    }

    // What build() says of the mappings; empty when they are whole.
    std::string problem() const {
        for (auto const& [serviceID, publisherID] : mappings) {
            if (interfaces.count(serviceID) == 0) {
                return "ServiceMapping references an unknown ServiceInterface Configuration " + serviceID;
            }
            if (publishers.count(publisherID) == 0) {
                return "ServiceMapping references an unknown ServicePublisher Configuration " + publisherID;
            }
        }
        return {};
    }
};

constexpr char const* nobody = "no such ID";
std::array<std::string, 6> const ids = {"", "a", "b", "c", "d", "ID that is too long to be held in place"};

SPFServiceInterfaceConfiguration record(std::string const& id, std::string const& content) {
    SPFServiceInterfaceConfiguration result{id, content, {}};
    result.requestedProperties.put("property", content);
    return result;
}

std::string contentOf(SPFServiceInterfaceConfiguration const& interface) {
    require(interface.name == interface.requestedProperties.get<std::string>("property"),
            "a half-replaced interface");
    return interface.name;
}

void compareInterfacesOf(SPFConfiguration const& handle, Model const& model, std::string const& publisherID) {
    std::set<std::string> toAll;
    std::set<std::string> explicitly;
    for (auto const& [id, interface] : model.interfaces) {
        if (interface.mappedToAll) {
            toAll.insert(id);
        } else if (model.mappings.count({id, publisherID}) != 0) {
            explicitly.insert(id);
        }
    }
    auto const found = handle.getServiceInterfaceConfigurationsForServicePublisher(publisherID);
    require(found.size() == toAll.size() + explicitly.size(), "the number of interfaces of a publisher");
    std::set<std::string> foundToAll;
    std::vector<std::string> foundExplicitly;
    for (std::size_t position = 0; position < found.size(); ++position) {
        if (position < toAll.size()) {
            foundToAll.insert(found[position].uniqueID);
        } else {
            foundExplicitly.push_back(found[position].uniqueID);
        }
    }
    require(foundToAll == toAll, "the interfaces mapped to all publishers come first");
    require(std::equal(explicitly.begin(), explicitly.end(), foundExplicitly.begin(), foundExplicitly.end()),
            "the others in ascending order");
}

void compare(SPFConfiguration const& handle, Model const& model) {
    auto const interfaces = handle.getServiceInterfaceConfigurations();
    require(interfaces.size() == model.interfaces.size(), "the number of interfaces");
    for (auto const& interface : interfaces) {
        requireEqual(contentOf(interface), model.interfaces.at(interface.uniqueID).content, "an interface");
    }
    auto const publishers = handle.getServicePublisherConfigurations();
    require(publishers.size() == model.publishers.size(), "the number of publishers");
    for (auto const& publisher : publishers) {
        requireEqual(publisher.name, model.publishers.at(publisher.uniqueID), "a publisher");
    }
    for (auto const& id : ids) {
        compareInterfacesOf(handle, model, id);
    }
}

class Run {
public:
    Run(std::uint8_t const* data, std::size_t size)
        : input(data, size) {}

    void run() {
        while (input.remaining_bytes() > 0) {
            operate();
        }
        build();
    }

private:
    std::string anyID() { return input.PickValueInArray(ids); }

    void operate() {
        auto const operation = input.ConsumeIntegralInRange(0, 11);
        auto const id = anyID();
        switch (operation) {
        case 0:
        case 1:
        case 2:
            return putInterface(id, operation);
        case 3: {
            auto const name = input.ConsumeRandomLengthString(3);
            builder.addServicePublisher(id, name, {"b", name}, {}, {}, {});
            model.publishers[id] = name;
            return;
        }
        case 4: {
            auto const publisherID = anyID();
            builder.addServiceMapping(id, publisherID);
            model.mappings.emplace(id, publisherID);
            return;
        }
        case 5: {
            auto const publisherID = anyID();
            builder.removeServiceMapping(id, publisherID);
            model.mappings.erase({id, publisherID});
            return;
        }
        default:
            remove(id, operation);
        }
    }

    void putInterface(std::string const& id, int operation) {
        auto const content = input.ConsumeRandomLengthString(20);
        if (operation == 0) {
            builder.addServiceInterface(record(id, content));
        } else if (operation == 1) {
            auto const publisherID = anyID();
            builder.addServiceInterfaceToServicePublisher(publisherID, record(id, content));
            model.mappings.emplace(id, publisherID);
        } else {
            builder.addServiceInterfaceToAllServicePublishers(record(id, content));
        }
        model.putInterface(id, content, operation == 2);
    }

    void remove(std::string const& id, int operation) {
        if (operation == 6) {
            builder.removeServiceInterface(id);
            model.interfaces.erase(id);
            model.eraseMappings(id, nobody);
        } else if (operation == 7) {
            builder.removeServicePublisher(id);
            model.publishers.erase(id);
            model.eraseMappings(nobody, id);
        } else if (operation == 8) {
            builder.undoMappingOfServiceInterfaceToAllServicePublishers(id);
            auto const found = model.interfaces.find(id);
            if (found != model.interfaces.end()) {
                found->second.mappedToAll = false;
            }
        } else if (operation == 9) {
            SPFConfigurationBuilder other(std::move(builder));
            builder = std::move(other);
        } else {
            build();
        }
    }

    // Builds, compares, and goes on with what modify() gives.
    void build() {
        auto const problem = model.problem();
        try {
            auto handle = builder.build();
            requireEqual(problem, "", "a broken mapping that build() does not see");
            compare(handle, model);
            builder = handle.modify();
        } catch (std::runtime_error const& error) {
            requireEqual(error.what(), problem, "what build() says");
        }
    }

    FuzzedDataProvider input;
    SPFConfigurationBuilder builder{"id"};
    Model model;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Run(data, size).run();
    return 0;
}
