// Where a configuration comes from: a file, or standard input.
#ifndef AGENT_PROGRAM_CONFIGURATION_CONFIGURATION_SOURCE_HPP
#define AGENT_PROGRAM_CONFIGURATION_CONFIGURATION_SOURCE_HPP

#include <string>

#include "configuration/ConfigurationFile.hpp"

namespace agent::program {

class ConfigurationSource {
public:
    // A path, or "-" for standard input.
    explicit ConfigurationSource(std::string file);

    // As messages name it.
    std::string const& name() const { return name_; }
    std::string const& path() const { return file_; }
    bool isStandardInput() const { return file_ == "-"; }

    // Reads and checks it. That it cannot be read is a problem like any other.
    ParsedConfiguration load() const;

    // "FILE:LINE: POINTER: what is wrong", with what is known of it; one line.
    std::string describe(Problem const& problem) const;

private:
    std::string file_;
    std::string name_;
};

} // namespace agent::program

#endif
