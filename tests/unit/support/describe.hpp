// Property values as texts, so that a test compares a whole map at once and a failure shows all of it.
#ifndef TESTS_UNIT_SUPPORT_DESCRIBE_HPP
#define TESTS_UNIT_SUPPORT_DESCRIBE_HPP

#include <string>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksetup::test {

// A map with case-insensitive keys is {key: value, ...}, its keys in ascending order; a map of another type
// has its type in front. A std::vector<Any> is [value, ...], a std::string is in quotes, an int is its
// digits, and any other value is the mangled name of its type in angle brackets; an empty one is <empty>.
std::string describe(cppmicroservices::Any const& value);
std::string describe(cppmicroservices::AnyMap const& map);

} // namespace agent::spf::frameworksetup::test

#endif
