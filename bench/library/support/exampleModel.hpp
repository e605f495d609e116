// The configurations that are measured.
#ifndef BENCH_LIBRARY_SUPPORT_EXAMPLE_MODEL_HPP
#define BENCH_LIBRARY_SUPPORT_EXAMPLE_MODEL_HPP

#include <cstddef>
#include <string>

#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "model/modelContainers.hpp"

namespace spf::bench {

// A text like a UUID: 36 characters, different for each number and prefix, spread over the whole text.
std::string makeID(char const* prefix, std::size_t number);

agent::spf::frameworksetup::SPFServiceInterfaceConfiguration makeInterface(std::size_t number);
agent::spf::frameworksetup::SPFServicePublisherConfiguration makePublisher(std::size_t number,
                                                                           std::size_t endpointsOfEachKind);

enum class Mapped {
    Explicitly, // each interface to `mappings / interfaces` publishers
    ByFlag,     // each interface to all publishers; there are no explicit mappings
};

struct Shape {
    std::size_t interfaces;
    std::size_t publishers;
    std::size_t mappings;
    Mapped mapped;
    std::size_t endpointsOfEachKind = 2; // per publisher
};

// Calls `add(interface number, publisher number)` for each explicit mapping: every interface has equally
// many.
template <typename Add>
void forEachMapping(Shape const& shape, Add const& add) {
    auto const perInterface = shape.mappings == 0 ? 0 : shape.mappings / shape.interfaces;
    for (std::size_t i = 0; i < shape.interfaces; ++i) {
        for (std::size_t p = 0; p < perInterface; ++p) {
            add(i, (i + p) % shape.publishers);
        }
    }
}

// The model's own containers, filled.
struct Model {
    explicit Model(Shape const& shape);

    agent::spf::frameworksetup::ServiceInterfaces interfaces;
    agent::spf::frameworksetup::ServicePublishers publishers;
    agent::spf::frameworksetup::ServiceMappings mappings;
};

// The same content in a client's builder.
agent::spf::frameworksetup::SPFConfigurationBuilder makeBuilder(std::string const& configurationID,
                                                                Shape const& shape);

} // namespace spf::bench

#endif
