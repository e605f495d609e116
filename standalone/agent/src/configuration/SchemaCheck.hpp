// Checking a document against the schema of configuration files.
#ifndef AGENT_PROGRAM_CONFIGURATION_SCHEMA_CHECK_HPP
#define AGENT_PROGRAM_CONFIGURATION_SCHEMA_CHECK_HPP

#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "configuration/Problem.hpp"

namespace agent::program {

// The text of the JSON Schema that is shipped for editors.
std::string_view configurationSchema();

// Every deviation from the schema: where, what was found, and what the schema's description says is expected.
Problems checkAgainstSchema(nlohmann::json const& document);

} // namespace agent::program

#endif
