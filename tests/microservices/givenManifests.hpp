// Manifests that are given in place of those in a file.
#ifndef TESTS_MICROSERVICES_GIVEN_MANIFESTS_HPP
#define TESTS_MICROSERVICES_GIVEN_MANIFESTS_HPP

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>

#include <initializer_list>
#include <string>

inline cppmicroservices::AnyMap givenHeaders(std::string const& name) {
    cppmicroservices::AnyMap headers(cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    headers[cppmicroservices::Constants::BUNDLE_SYMBOLICNAME] = name;
    return headers;
}

// One for each of the names, with nothing else in it.
inline cppmicroservices::AnyMap givenManifests(std::initializer_list<std::string> names) {
    cppmicroservices::AnyMap manifests(cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& name : names) {
        manifests[name] = givenHeaders(name);
    }
    return manifests;
}

#endif
