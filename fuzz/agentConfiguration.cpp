// Any text as the agent's configuration file: problems with their places, or a configuration that can be
// built.
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "configuration/ConfigurationFile.hpp"
#include "require.hpp"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const parsed = agent::program::parseConfiguration({reinterpret_cast<char const*>(data), size});
    for (auto const& problem : parsed.problems) {
        require(!problem.what.empty(), "a problem says what is wrong");
    }
    if (!parsed.problems.empty()) {
        return 0;
    }
    std::set<std::string> publishers;
    for (auto const& publisher : parsed.configuration.publishers) {
        require(publishers.insert(publisher.uniqueID).second, "publishers have unique IDs");
    }
    std::set<std::string> interfaces;
    for (auto const& interface : parsed.configuration.interfaces) {
        require(interfaces.insert(interface.uniqueID).second, "interfaces have unique IDs");
        for (auto const& publisher : interface.publishers) {
            require(publishers.count(publisher) == 1, "mappings name publishers of the file");
        }
    }
    return 0;
}
