// Where a configuration comes from.
#include "configuration/ConfigurationSource.hpp"

#include <stdexcept>
#include <utility>

namespace agent::program {

ConfigurationSource::ConfigurationSource(std::string file)
    : file_(std::move(file))
    , name_(isStandardInput() ? "standard input" : file_) {}

ParsedConfiguration ConfigurationSource::load() const {
    try {
        return parseConfiguration(readConfigurationText(file_));
    } catch (std::runtime_error const& error) {
        return {{}, {Problem{"", error.what()}}};
    }
}

std::string ConfigurationSource::describe(Problem const& problem) const {
    auto text = name_;
    for (auto const number : {problem.line, problem.column}) {
        if (number != 0) {
            text += ':' + std::to_string(number);
        }
    }
    text += ": ";
    if (!problem.where.empty()) {
        text += problem.where + ": ";
    }
    return text + problem.what;
}

} // namespace agent::program
