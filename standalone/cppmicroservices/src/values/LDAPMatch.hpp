// Evaluating a parsed LDAP filter on properties.
#ifndef CPPMICROSERVICES_SRC_VALUES_LDAPMATCH_HPP
#define CPPMICROSERVICES_SRC_VALUES_LDAPMATCH_HPP

#include "LDAPExpression.hpp"
#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

// What an LDAPFilter shares with its copies.
class LDAPFilterData {
public:
    explicit LDAPFilterData(std::string const& filter)
        : expression(detail::LDAPExpression::parse(filter)) {}

    detail::LDAPExpression const expression;
};

namespace detail {

enum class KeyCase { Ignored, Respected };

// \throws std::runtime_error if `properties` has keys that differ in case only.
bool matches(LDAPExpression const& expression, AnyMap const& properties, KeyCase keyCase);

} // namespace detail

} // namespace cppmicroservices

#endif
