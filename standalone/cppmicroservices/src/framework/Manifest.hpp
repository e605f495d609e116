// A bundle's manifest: what its JSON text says.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_MANIFEST_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_MANIFEST_HPP

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"

#include <string>

namespace cppmicroservices::detail {

struct Manifest {
    std::string symbolicName;
    BundleVersion version;
    bool hasActivator = false;
    AnyMap headers;
};

// The headers that the JSON object `text` holds. A leading "%" of a text, which marks it for translation,
// nulls and integers beyond `int` are left out; of keys that differ in case only, the first counts.
// \throws std::runtime_error, saying where, if `text` is no JSON object, has a key twice in one object or is
// nested more than 64 levels deep
AnyMap parseHeaders(std::string const& text);

// The symbolic name among the headers. \throws std::runtime_error if there is none
std::string nameIn(AnyMap const& headers);

// What the headers say of the bundle `name`, which has the location `location`. They must have a symbolic
// name, but need not have this one. \throws std::runtime_error, saying which, if a header is missing or bad
Manifest interpretHeaders(std::string name, std::string const& location, AnyMap headers);

} // namespace cppmicroservices::detail

#endif
