// The configuration file of the agent: what it says, and reading it.
#ifndef AGENT_PROGRAM_CONFIGURATION_CONFIGURATION_FILE_HPP
#define AGENT_PROGRAM_CONFIGURATION_CONFIGURATION_FILE_HPP

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <nlohmann/json_fwd.hpp>

#include "configuration/Problem.hpp"

namespace agent::program {

struct InterfaceEntry {
    std::string uniqueID;
    std::string name;
    boost::property_tree::ptree requestedProperties; // with the required runtime properties marked in it
    bool mappedToAllPublishers = false;
    std::vector<std::string> publishers; // unique IDs
};

struct PublisherEntry {
    std::string uniqueID;
    std::string name;
    std::vector<std::string> endpointsToConnectTo;
    std::vector<std::string> endpointsToBindTo;
    std::string importFilter;
    std::string exportFilter;
};

struct ConfigurationFile {
    std::string configurationID;
    std::vector<InterfaceEntry> interfaces;
    std::vector<PublisherEntry> publishers;
    std::shared_ptr<nlohmann::json const> document{}; // what all of this was read from
};

struct ParsedConfiguration {
    ConfigurationFile configuration; // complete if there are no problems
    Problems problems;               // everything that is wrong, in the order of the lines
    Problems notes{};                // if nothing is: what is allowed but hardly meant, in the same order
};

// Checks syntax, schema, identities, references and filters. Never throws for what the text holds.
ParsedConfiguration parseConfiguration(std::string_view text);

// The text of a file, or of standard input for "-". Throws std::runtime_error that says why it cannot be
// read.
std::string readConfigurationText(std::string const& file);

} // namespace agent::program

#endif
