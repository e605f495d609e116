// Checks of a configuration that a schema cannot express.
#ifndef AGENT_PROGRAM_CONFIGURATION_CONTENT_CHECK_HPP
#define AGENT_PROGRAM_CONFIGURATION_CONTENT_CHECK_HPP

#include <nlohmann/json.hpp>

#include "configuration/Problem.hpp"

namespace agent::program {

// For a document that agrees with the schema: identities are unique, mappings name publishers of the
// document, filters are LDAP filters, and no two properties differ in letter case only (published maps would
// keep one of them).
Problems checkContent(nlohmann::json const& document);

} // namespace agent::program

#endif
