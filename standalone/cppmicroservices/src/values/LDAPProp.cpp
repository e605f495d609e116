// Writing of LDAP filter strings.
#include "cppmicroservices/LDAPProp.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

LDAPPropExpr::LDAPPropExpr() = default;
LDAPPropExpr::LDAPPropExpr(std::string expr)
    : expression_(std::move(expr)) {}

LDAPPropExpr& LDAPPropExpr::operator!() {
    if (!IsNull()) {
        expression_ = "(!" + expression_ + ")";
    }
    return *this;
}

LDAPPropExpr::operator std::string() const {
    return expression_;
}

bool LDAPPropExpr::IsNull() const {
    return expression_.empty();
}

LDAPPropExpr& LDAPPropExpr::operator|=(LDAPPropExpr const& right) {
    return combine('|', right);
}

LDAPPropExpr& LDAPPropExpr::operator&=(LDAPPropExpr const& right) {
    return combine('&', right);
}

LDAPPropExpr& LDAPPropExpr::combine(char operation, LDAPPropExpr const& right) {
    if (IsNull()) {
        expression_ = right.expression_;
    } else if (!right.IsNull()) {
        expression_ = std::string("(") + operation + expression_ + right.expression_ + ")";
    }
    return *this;
}

LDAPProp::LDAPProp(std::string property)
    : property_(std::move(property)) {
    if (property_.empty()) {
        throw std::invalid_argument("property must not be empty");
    }
}

LDAPPropExpr LDAPProp::compare(char const* operation, std::string const& value) const {
    return value.empty() ? LDAPPropExpr() : LDAPPropExpr("(" + property_ + operation + value + ")");
}

LDAPPropExpr LDAPProp::operator==(std::string const& s) const {
    return compare("=", s);
}

LDAPPropExpr LDAPProp::operator==(Any const& s) const {
    return compare("=", s.ToString());
}

LDAPPropExpr LDAPProp::operator==(bool b) const {
    return compare("=", b ? "true" : "false");
}

LDAPProp::operator LDAPPropExpr() const {
    return compare("=", "*");
}

LDAPPropExpr LDAPProp::operator!() const {
    return !compare("=", "*");
}

LDAPPropExpr LDAPProp::operator!=(std::string const& s) const {
    return !compare("=", s);
}

LDAPPropExpr LDAPProp::operator!=(Any const& s) const {
    return !compare("=", s.ToString());
}

LDAPPropExpr LDAPProp::operator>=(std::string const& s) const {
    return compare(">=", s);
}

LDAPPropExpr LDAPProp::operator>=(Any const& s) const {
    return compare(">=", s.ToString());
}

LDAPPropExpr LDAPProp::operator<=(std::string const& s) const {
    return compare("<=", s);
}

LDAPPropExpr LDAPProp::operator<=(Any const& s) const {
    return compare("<=", s.ToString());
}

LDAPPropExpr LDAPProp::Approx(std::string const& s) const {
    return compare("~=", s);
}

LDAPPropExpr LDAPProp::Approx(Any const& s) const {
    return compare("~=", s.ToString());
}

} // namespace cppmicroservices

cppmicroservices::LDAPPropExpr operator&&(cppmicroservices::LDAPPropExpr const& left,
                                          cppmicroservices::LDAPPropExpr const& right) {
    return cppmicroservices::LDAPPropExpr(left) &= right;
}

cppmicroservices::LDAPPropExpr operator||(cppmicroservices::LDAPPropExpr const& left,
                                          cppmicroservices::LDAPPropExpr const& right) {
    return cppmicroservices::LDAPPropExpr(left) |= right;
}
