// The configurations that are measured.
#include "support/exampleModel.hpp"

#include <array>
#include <cstdint>
#include <cstdio>

#include <boost/property_tree/ptree.hpp>

#include "agent/spf/frameworksetup/frameworksetup.hpp"

namespace spf::bench {

using namespace agent::spf::frameworksetup;

std::string makeID(char const* prefix, std::size_t number) {
    // Numbers are spread by an odd factor, as the digits of UUIDs are.
    auto const spread = static_cast<std::uint64_t>(number + 1) * 0x9E3779B97F4A7C15U;
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "%-4.4s%04x-%04x-4%03x-8%03x-%012llx", prefix,
                  static_cast<unsigned>(spread >> 48U), static_cast<unsigned>(spread >> 32U & 0xFFFFU),
                  static_cast<unsigned>(spread >> 20U & 0xFFFU), static_cast<unsigned>(spread >> 8U & 0xFFFU),
                  static_cast<unsigned long long>(number));
    return text.data();
}

SPFServiceInterfaceConfiguration makeInterface(std::size_t number) {
    SPFServiceInterfaceConfiguration interface;
    interface.uniqueID = makeID("intf", number);
    interface.name = "qo.example.services.Interface" + std::to_string(number);
    interface.requestedProperties.put("priority", "high");
    interface.requestedProperties.put("limits.calls", "250");
    addRequiredRuntimeServiceProperties(interface.requestedProperties, "timeout", "30");
    return interface;
}

SPFServicePublisherConfiguration makePublisher(std::size_t number, std::size_t endpointsOfEachKind) {
    SPFServicePublisherConfiguration publisher;
    publisher.uniqueID = makeID("publ", number);
    publisher.name = "rpcservicepublisher";
    for (std::size_t i = 0; i < endpointsOfEachKind; ++i) {
        auto const endpoint = number * endpointsOfEachKind + i;
        publisher.endpointsToConnectTo.emplace_back(makeID("conn", endpoint));
        publisher.endpointsToBindTo.emplace_back(makeID("bind", endpoint));
    }
    publisher.importFilter = "(service.ranking>=10)";
    publisher.exportFilter = "(service.scope=singleton)";
    return publisher;
}

Model::Model(Shape const& shape) {
    auto const byFlag = shape.mapped == Mapped::ByFlag;
    for (std::size_t i = 0; i < shape.interfaces; ++i) {
        interfaces.insert(ServiceInterfaceEntry{makeInterface(i), byFlag});
    }
    for (std::size_t p = 0; p < shape.publishers; ++p) {
        publishers.insert(makePublisher(p, shape.endpointsOfEachKind));
    }
    forEachMapping(shape, [this](std::size_t i, std::size_t p) {
        mappings.insert(ServiceMapping{makeID("intf", i), makeID("publ", p)});
    });
}

SPFConfigurationBuilder makeBuilder(std::string const& configurationID, Shape const& shape) {
    SPFConfigurationBuilder builder(configurationID);
    for (std::size_t p = 0; p < shape.publishers; ++p) {
        builder.addServicePublisher(makePublisher(p, shape.endpointsOfEachKind));
    }
    auto const byFlag = shape.mapped == Mapped::ByFlag;
    for (std::size_t i = 0; i < shape.interfaces; ++i) {
        byFlag ? builder.addServiceInterfaceToAllServicePublishers(makeInterface(i))
               : builder.addServiceInterface(makeInterface(i));
    }
    forEachMapping(shape, [&](std::size_t i, std::size_t p) {
        builder.addServiceMapping(makeID("intf", i), makeID("publ", p));
    });
    return builder;
}

} // namespace spf::bench
