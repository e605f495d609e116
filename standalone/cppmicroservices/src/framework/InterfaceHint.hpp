// Finds out of a filter expression's text which interface it asks for, so that only services with it need a
// look.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_INTERFACEHINT_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_INTERFACEHINT_HPP

#include <string>

namespace cppmicroservices::detail {

struct InterfaceHint {
    // Every service that the filter matches has this interface; empty if the text does not show one.
    std::string interfaceId;
    // The filter asks for nothing else.
    bool complete = false;
    // The filter without that condition, malformed if the filter is; empty if the filter asks for nothing
    // else or shows no interface.
    std::string remainder;
};

// Recognises "(objectclass=NAME)" and "(&(objectclass=NAME)...)".
InterfaceHint interfaceHint(std::string const& filter);

// Whether every service that the filter matches has one of the interfaces that it names without a wildcard,
// however it combines them. `filter` must not be malformed.
bool namesInterfaces(std::string const& filter);

} // namespace cppmicroservices::detail

#endif
