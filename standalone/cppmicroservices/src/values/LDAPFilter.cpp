// LDAPFilter on top of the parsed expression. Matching of services and bundles stands with those classes.
#include "cppmicroservices/LDAPFilter.h"

#include "LDAPMatch.hpp"

#include <ostream>

namespace cppmicroservices {

LDAPFilter::LDAPFilter() = default;
LDAPFilter::LDAPFilter(std::string const& filter)
    : d(std::make_shared<LDAPFilterData>(filter)) {}
LDAPFilter::LDAPFilter(LDAPFilter const& other) = default;
LDAPFilter::~LDAPFilter() = default;
LDAPFilter& LDAPFilter::operator=(LDAPFilter const& filter) = default;

LDAPFilter::operator bool() const {
    return d != nullptr;
}

bool LDAPFilter::Match(AnyMap const& dictionary) const {
    return d && detail::matches(d->expression, dictionary, detail::KeyCase::Ignored);
}

bool LDAPFilter::MatchCase(AnyMap const& dictionary) const {
    return d && detail::matches(d->expression, dictionary, detail::KeyCase::Respected);
}

std::string LDAPFilter::ToString() const {
    return d ? d->expression.toString() : std::string();
}

bool LDAPFilter::operator==(LDAPFilter const& other) const {
    return d == other.d || ToString() == other.ToString();
}

std::ostream& operator<<(std::ostream& os, LDAPFilter const& filter) {
    return os << filter.ToString();
}

} // namespace cppmicroservices
