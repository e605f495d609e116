// Building of LDAP filter strings with C++ operators.
#ifndef CPPMICROSERVICES_LDAPPROP_H
#define CPPMICROSERVICES_LDAPPROP_H

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkConfig.h"

#include <sstream>
#include <string>

namespace cppmicroservices {

// A filter under construction; converts to the filter's string. Null as long as it holds none.
class US_Framework_EXPORT LDAPPropExpr {
public:
    LDAPPropExpr();
    explicit LDAPPropExpr(std::string expr);

    // Negates this expression in place and returns it; a null expression stays null.
    LDAPPropExpr& operator!();

    operator std::string() const;

    bool IsNull() const;

    // "(|(this)(right))"; if either is null, the other.
    LDAPPropExpr& operator|=(LDAPPropExpr const& right);

    // "(&(this)(right))"; if either is null, the other.
    LDAPPropExpr& operator&=(LDAPPropExpr const& right);

private:
    LDAPPropExpr& combine(char operation, LDAPPropExpr const& right);

    std::string expression_;
};

// The attribute of a filter. Comparing it gives a filter expression:
// `LDAPProp("name") == "Ben" && !(LDAPProp("count") >= 1)` is "(&(name=Ben)(!(count>=1)))"; used as an
// expression it is "(name=*)". Values are written with operator<<, except that == writes a bool as "true" or
// "false"; special characters in them are not escaped. Comparing with a value whose text is empty gives a
// null expression, but for == with another type than std::string and Any.
class US_Framework_EXPORT LDAPProp {
public:
    // \throws std::invalid_argument if `property` is empty.
    LDAPProp(std::string property);

    LDAPProp& operator=(LDAPProp const&) = delete;

    LDAPPropExpr operator==(std::string const& s) const;
    // \throws std::logic_error, as do the other operators, if the Any is empty.
    LDAPPropExpr operator==(cppmicroservices::Any const& s) const;
    LDAPPropExpr operator==(bool b) const;
    template <class T>
    LDAPPropExpr operator==(T const& s) const {
        return LDAPPropExpr("(" + property_ + "=" + textOf(s) + ")");
    }

    // "(property=*)".
    operator LDAPPropExpr() const;

    // "(!(property=*))".
    LDAPPropExpr operator!() const;

    LDAPPropExpr operator!=(std::string const& s) const;
    LDAPPropExpr operator!=(cppmicroservices::Any const& s) const;
    // In C++20 this would otherwise be the == with a bool, negated.
    LDAPPropExpr operator!=(bool b) const { return operator!=(textOf(b)); }
    template <class T>
    LDAPPropExpr operator!=(T const& s) const {
        return operator!=(textOf(s));
    }

    LDAPPropExpr operator>=(std::string const& s) const;
    LDAPPropExpr operator>=(cppmicroservices::Any const& s) const;
    template <class T>
    LDAPPropExpr operator>=(T const& s) const {
        return operator>=(textOf(s));
    }

    LDAPPropExpr operator<=(std::string const& s) const;
    LDAPPropExpr operator<=(cppmicroservices::Any const& s) const;
    template <class T>
    LDAPPropExpr operator<=(T const& s) const {
        return operator<=(textOf(s));
    }

    // "(property~=s)".
    LDAPPropExpr Approx(std::string const& s) const;
    LDAPPropExpr Approx(cppmicroservices::Any const& s) const;
    template <class T>
    LDAPPropExpr Approx(T const& s) const {
        return Approx(textOf(s));
    }

private:
    template <class T>
    static std::string textOf(T const& value) {
        std::ostringstream text;
        text << value;
        return text.str();
    }

    LDAPPropExpr compare(char const* operation, std::string const& value) const;

    std::string property_;
};

} // namespace cppmicroservices

// "(&(left)(right))"; if either is null, the other.
US_Framework_EXPORT cppmicroservices::LDAPPropExpr operator&&(cppmicroservices::LDAPPropExpr const& left,
                                                              cppmicroservices::LDAPPropExpr const& right);

// "(|(left)(right))"; if either is null, the other.
US_Framework_EXPORT cppmicroservices::LDAPPropExpr operator||(cppmicroservices::LDAPPropExpr const& left,
                                                              cppmicroservices::LDAPPropExpr const& right);

#endif
