// Checks of a configuration that a schema cannot express.
#ifndef AGENT_PROGRAM_CONFIGURATION_CONTENT_CHECK_HPP
#define AGENT_PROGRAM_CONFIGURATION_CONTENT_CHECK_HPP

#include <nlohmann/json_fwd.hpp>

#include "configuration/Problem.hpp"

namespace agent::program {

// Identities are unique, mappings name publishers of the document, filters are LDAP filters, and no two
// properties differ in letter case only (published maps would keep one of them). Passes over what does not
// agree with the schema, and over mappings while the identity of a publisher does not.
Problems checkContent(nlohmann::json const& document);

// What is allowed but hardly meant: interfaces that no publisher offers. Of documents without problems.
Problems notesOn(nlohmann::json const& document);

} // namespace agent::program

#endif
