// A bundle's manifest: what its JSON text says.
#ifndef SPF_MICROSERVICES_FRAMEWORK_MANIFEST_HPP
#define SPF_MICROSERVICES_FRAMEWORK_MANIFEST_HPP

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

/// The headers that the JSON object `text` holds. A leading "%" of a text, which marks it for translation,
/// and nulls are left out. \throws std::runtime_error, saying where, if `text` is no JSON object
AnyMap parseHeaders(std::string const& text);

/// \throws std::runtime_error, saying which, if a header is missing or bad
Manifest interpretHeaders(AnyMap headers);

} // namespace cppmicroservices::detail

#endif
