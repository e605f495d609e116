// A service interface as a publisher offers it: read from the configuration, sent to peers, matched by
// filters.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_OFFERED_INTERFACE_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_OFFERED_INTERFACE_HPP

#include <string>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include "agent/spf/bundles/RemoteOffers.hpp"

namespace agent::spf::bundles::publisher {

// Reads an interface entry of a configuration. Throws std::runtime_error, with `where`, when something is
// missing or of the wrong type.
//
// The offer's properties are the requested ones, with the keys' JSON escapes undone. A required runtime
// property stands there without the prefix of its key; one that is nested, since its name holds dots, is put
// together again under the whole name.
RemoteOffer readInterface(cppmicroservices::AnyMap const& entry, std::string const& where);

// The service properties that a filter is matched against and that a service for the offer carries: those of
// the offer, and its name, unique ID and version, which win over an equal key.
cppmicroservices::AnyMap serviceProperties(RemoteOffer const& offer);

// The filter of this text; an empty one for an empty text. Throws std::runtime_error, naming the filter
// `name`, when the text is no LDAP filter.
cppmicroservices::LDAPFilter parseFilter(std::string const& text, std::string const& name);

// Whether the filter lets the offer pass; an empty filter lets everything pass.
bool passes(cppmicroservices::LDAPFilter const& filter, RemoteOffer const& offer);

} // namespace agent::spf::bundles::publisher

#endif
