// Filters over properties, in the syntax of RFC 1960.
#ifndef CPPMICROSERVICES_LDAPFILTER_H
#define CPPMICROSERVICES_LDAPFILTER_H

#include "cppmicroservices/AnyMap.h"

#include <iosfwd>
#include <memory>
#include <string>

namespace cppmicroservices {

class Bundle;
class LDAPFilterData;
class ServiceReferenceBase;

// An immutable filter such as "(&(objectclass=qo.Printer)(!(pages<=10))(name=laser*))".
//
//     filter    = "(" ( "&" filter+ | "|" filter+ | "!" filter | attribute operator value ) ")"
//     operator  = "=" | "~=" | ">=" | "<="
//
// White space around parts of a filter is ignored, except in values. In a value "*" stands for any text, and
// "\" takes the special meaning from the character that follows; "(attribute=*)" is true if there is a value
// of any type. "~=" ignores white space and the case of ASCII letters.
//
// The value is compared as the property's type asks: as text with std::string, char const* and char; as
// "true" or "false" without regard to case, or a beginning of it, with bool ("=" and "~=" only); as a number
// with int, long, long long, short, their unsigned forms, unsigned char, float and double, where what
// follows the number is ignored and a number that is none or overflows matches nothing. Of a
// std::vector<std::string>, std::list<std::string> or std::vector<Any>, any element may match. Other types
// match only "(attribute=*)".
//
// Thread safe.
class US_Framework_EXPORT LDAPFilter {
public:
    // A filter that matches nothing and converts to false.
    LDAPFilter();

    // \throws std::invalid_argument if `filter` is malformed; the message ends with the text that was not
    // understood.
    LDAPFilter(std::string const& filter);

    LDAPFilter(LDAPFilter const& other);
    ~LDAPFilter();
    LDAPFilter& operator=(LDAPFilter const& filter);

    explicit operator bool() const;

    // Whether the service's properties match; keys are looked up without regard to case.
    bool Match(ServiceReferenceBase const& reference) const;

    // Whether the bundle's manifest headers match; keys are looked up without regard to case.
    bool Match(Bundle const& bundle) const;

    // Whether the properties match; keys are looked up without regard to case.
    // \throws std::runtime_error if the map has keys that differ in case only.
    bool Match(AnyMap const& dictionary) const;

    // As above, but keys are looked up with regard to case, whatever the kind of the map.
    bool MatchCase(AnyMap const& dictionary) const;

    // The filter without the white space that means nothing; empty if this matches nothing.
    std::string ToString() const;

    // Compares ToString() of both.
    bool operator==(LDAPFilter const& other) const;

protected:
    std::shared_ptr<LDAPFilterData> d;
};

// Writes ToString().
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, LDAPFilter const& filter);

} // namespace cppmicroservices

#endif
