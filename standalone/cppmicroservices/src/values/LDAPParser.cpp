// Parsing of LDAP filters by recursive descent.
#include "LDAPExpression.hpp"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

using Operator = LDAPExpression::Operator;

class Parser {
public:
    explicit Parser(std::string_view filter)
        : rest_(filter) {}

    LDAPExpression parse() {
        if (rest_.empty()) {
            fail("Null query");
        }
        LDAPExpression expression = parseExpression();
        if (rest_.find_first_not_of(' ') != std::string_view::npos) {
            fail("Trailing garbage '" + std::string(rest_) + "'");
        }
        return expression;
    }

private:
    static constexpr char const* malformed = "Malformed query";
    // A bound on recursion, far beyond what a person or a program writes, so that no filter text overflows
    // the stack.
    static constexpr int deepestNesting = 1000;

    LDAPExpression parseExpression() {
        if (peekAfterSpace() != '(') {
            fail(malformed);
        }
        advance();
        switch (peekAfterSpace()) {
        case '&':
            return parseOperands(Operator::And);
        case '|':
            return parseOperands(Operator::Or);
        case '!':
            return parseOperands(Operator::Not);
        default:
            return parseComparison();
        }
    }

    LDAPExpression parseOperands(Operator operation) {
        advance();
        if (++nesting_ > deepestNesting) {
            fail("Query is nested too deeply");
        }
        LDAPExpression expression;
        expression.operation = operation;
        expression.operands.reserve(operation == Operator::Not ? 1 : 2);
        do {
            expression.operands.push_back(parseExpression());
        } while (peekAfterSpace() != ')');
        advance();
        --nesting_;
        if (operation == Operator::Not && expression.operands.size() != 1) {
            fail(malformed);
        }
        return expression;
    }

    LDAPExpression parseComparison() {
        LDAPExpression expression;
        expression.attribute = takeAttribute();
        expression.operation = takeOperator();
        expression.pattern = makePattern(takePattern(), expression.operation);
        return expression;
    }

    std::string takeAttribute() {
        std::string_view name = rest_.substr(0, rest_.find_first_of("=<>~()"));
        if (name.size() == rest_.size()) {
            failAtEnd();
        }
        rest_.remove_prefix(name.size());
        while (!name.empty() && isSpace(name.back())) {
            name.remove_suffix(1);
        }
        if (name.empty()) {
            fail(malformed);
        }
        return std::string(name);
    }

    Operator takeOperator() {
        for (auto const& [text, operation] : {std::pair<std::string_view, Operator>{"=", Operator::Equal},
                                              {"~=", Operator::Approximate},
                                              {">=", Operator::GreaterOrEqual},
                                              {"<=", Operator::LessOrEqual}}) {
            if (rest_.substr(0, text.size()) == text) {
                rest_.remove_prefix(text.size());
                return operation;
            }
        }
        fail("Undefined operator");
    }

    // Up to the parenthesis that closes the comparison; a value may hold balanced ones.
    std::string takePattern() {
        std::string pattern;
        pattern.reserve(std::min(rest_.find(')'), rest_.size()));
        for (int depth = 0; depth > 0 || peek() != ')';) {
            char c = take();
            if (c == '\\') {
                c = take();
            } else if (c == '*') {
                c = wildcard;
            } else if (c == '(') {
                ++depth;
            } else if (c == ')') {
                --depth;
            }
            pattern += c;
        }
        advance();
        return pattern;
    }

    static bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

    char peek() const {
        if (rest_.empty()) {
            failAtEnd();
        }
        return rest_.front();
    }

    char peekAfterSpace() {
        while (isSpace(peek())) {
            advance();
        }
        return peek();
    }

    char take() {
        char const c = peek();
        advance();
        return c;
    }

    void advance() { rest_.remove_prefix(1); }

    [[noreturn]] void fail(std::string const& problem) const {
        throw std::invalid_argument(problem + ": " + std::string(rest_));
    }

    [[noreturn]] static void failAtEnd() { throw std::invalid_argument("Unexpected end of query: "); }

    std::string_view rest_; // what is not yet parsed
    int nesting_ = 0;
};

} // namespace

LDAPExpression LDAPExpression::parse(std::string_view filter) {
    return Parser(filter).parse();
}

} // namespace cppmicroservices::detail
