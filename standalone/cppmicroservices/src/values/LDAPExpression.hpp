// A parsed LDAP filter: a tree of conditions on properties.
#ifndef CPPMICROSERVICES_SRC_VALUES_LDAPEXPRESSION_HPP
#define CPPMICROSERVICES_SRC_VALUES_LDAPEXPRESSION_HPP

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cppmicroservices::detail {

// Stands in patterns for any text. The character DEL, because no text has it and because it orders values
// against patterns as filters always have.
constexpr char wildcard = '\x7f';

// The right-hand side of a comparison, in every form that a property's type can ask for.
struct LDAPPattern {
    std::string text;             // '*' as wildcard, escapes removed
    std::string approximate;      // for approximation only: the text as normaliseForApproximation() makes it
    std::optional<long> integer;  // none if the text does not begin with one that fits
    std::optional<double> number; // none if the text does not begin with one that fits
    bool isPresence = false;      // just "*"
};

struct LDAPExpression {
    enum class Operator { And, Or, Not, Equal, Approximate, GreaterOrEqual, LessOrEqual };

    // \throws std::invalid_argument if `filter` is malformed.
    static LDAPExpression parse(std::string_view filter);

    // The filter in its shortest form.
    std::string toString() const;

    Operator operation = Operator::And;
    std::vector<LDAPExpression> operands; // of And, Or, Not
    std::string attribute;                // of comparisons
    LDAPPattern pattern;                  // of comparisons

private:
    void appendTo(std::string& text) const;
};

LDAPPattern makePattern(std::string text, LDAPExpression::Operator operation);

// Removes white space and makes ASCII letters lower-case.
std::string normaliseForApproximation(std::string_view text);

} // namespace cppmicroservices::detail

#endif
