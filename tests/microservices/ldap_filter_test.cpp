// LDAPFilter: grammar, error messages and the normal form.
#include "cppmicroservices/LDAPFilter.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

std::string normalForm(std::string const& filter) {
    return LDAPFilter(filter).ToString();
}

std::string parseError(std::string const& filter) {
    try {
        LDAPFilter const parsed(filter);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "no error";
}

TEST(LDAPFilter, DefaultConstructedMatchesNothing) {
    LDAPFilter const filter;
    EXPECT_FALSE(filter);
    EXPECT_EQ(filter.ToString(), "");
    EXPECT_FALSE(filter.Match(AnyMap{{"a", 1}}));
    EXPECT_FALSE(filter.MatchCase(AnyMap{{"a", 1}}));
    EXPECT_FALSE(filter.Match(AnyMap(AnyMap::ORDERED_MAP, {{"a", 1}, {"A", 1}})));
}

TEST(LDAPFilter, ParsedConvertsToTrue) {
    EXPECT_TRUE(LDAPFilter("(a=b)"));
}

TEST(LDAPFilter, ComparesNormalForms) {
    EXPECT_TRUE(LDAPFilter("(a=b)") == LDAPFilter(" ( a =b)"));
    EXPECT_FALSE(LDAPFilter("(a=b)") == LDAPFilter("(a=c)"));
    EXPECT_FALSE(LDAPFilter("(a=b)") == LDAPFilter());
    EXPECT_FALSE(LDAPFilter() == LDAPFilter("(a=b)"));
    EXPECT_TRUE(LDAPFilter() == LDAPFilter());
}

TEST(LDAPFilter, CopiesAndAssigns) {
    LDAPFilter const original("(a=b)");
    LDAPFilter copy(original);
    EXPECT_TRUE(copy == original);
    copy = LDAPFilter();
    EXPECT_FALSE(copy);
    EXPECT_TRUE(original);
    copy = original;
    EXPECT_TRUE(copy.Match(AnyMap{{"a", std::string("b")}}));
}

TEST(LDAPFilter, MovingCopies) {
    LDAPFilter original("(a=b)");
    LDAPFilter const moved(std::move(original));
    EXPECT_TRUE(original);
    EXPECT_TRUE(moved);
}

TEST(LDAPFilter, StreamsItsNormalForm) {
    std::ostringstream os;
    os << LDAPFilter(" (a=b)") << '|' << LDAPFilter();
    EXPECT_EQ(os.str(), "(a=b)|");
}

TEST(LDAPGrammar, KnowsFourComparisons) {
    for (auto const* const filter : {"(a=b)", "(a~=b)", "(a>=b)", "(a<=b)"}) {
        EXPECT_EQ(normalForm(filter), filter);
    }
}

TEST(LDAPGrammar, CombinesFilters) {
    for (auto const* const filter : {"(&(a=b)(c=d))", "(|(a=b)(c=d)(e=f))", "(!(a=b))", "(&(a=b))",
                                     "(|(a=b))", "(!(!(a=b)))", "(&(a=b)(|(c=d)(!(e=*))))"}) {
        EXPECT_EQ(normalForm(filter), filter);
    }
}

TEST(LDAPGrammar, NestsDeeply) {
    std::string filter = "(a=b)";
    for (int i = 0; i < 200; ++i) {
        filter = "(!" + filter + ")";
    }
    EXPECT_EQ(normalForm(filter), filter);
    EXPECT_TRUE(LDAPFilter(filter).Match(AnyMap{{"a", std::string("b")}}));
}

TEST(LDAPGrammar, DropsWhiteSpaceAroundParts) {
    EXPECT_EQ(normalForm("  (a=b)"), "(a=b)");
    EXPECT_EQ(normalForm("\t\n(a=b)  "), "(a=b)");
    EXPECT_EQ(normalForm("( & (a=b)\r\n\t\v\f(c=d) )"), "(&(a=b)(c=d))");
    EXPECT_EQ(normalForm("(!  (a=b)  )"), "(!(a=b))");
    EXPECT_EQ(normalForm("(\ta \t =b)"), "(a=b)");
}

TEST(LDAPGrammar, KeepsWhiteSpaceInValuesAndWithinAttributes) {
    EXPECT_EQ(normalForm("( a = b )"), "(a= b )");
    EXPECT_EQ(normalForm("(a=\tb\n)"), "(a=\tb\n)");
    EXPECT_EQ(normalForm("(  a  b  =c)"), "(a  b=c)");
}

TEST(LDAPGrammar, AttributesMayHoldMostCharacters) {
    for (auto const* const filter : {"(a.b=c)", "(a-b_c=c)", "(a*=b)", "(*=b)", "(a&b=c)", "(a|b=c)",
                                     "(a!b=c)", "(a:=b)", "(a\\=b)", "(A=b)"}) {
        EXPECT_EQ(normalForm(filter), filter);
    }
}

TEST(LDAPGrammar, ValuesMayBeEmptyAndHoldOperators) {
    for (auto const* const filter : {"(a=)", "(a~=)", "(a>=)", "(a<=)", "(a==b)", "(a=b=c)", "(a=<b)",
                                     "(a<=b>=c)", "(a>==b)", "(a=&)", "(a=\xc3\xa4)", "(a=\xff)"}) {
        EXPECT_EQ(normalForm(filter), filter);
    }
}

TEST(LDAPGrammar, KeepsWildcardsAndEscapes) {
    for (auto const* const filter : {"(a=*)", "(a=**)", "(a=*b*)", "(a>=*)", "(a~=a*b)", "(a<=*x)", "(a=\\*)",
                                     "(a=\\()", "(a=b\\))", "(a=\\\\)"}) {
        EXPECT_EQ(normalForm(filter), filter);
    }
}

TEST(LDAPGrammar, DropsEscapesOfOrdinaryCharacters) {
    EXPECT_EQ(normalForm("(a=\\n)"), "(a=n)");
    EXPECT_EQ(normalForm("(a=\\28)"), "(a=28)");
}

TEST(LDAPGrammar, EscapesBalancedParenthesesInValues) {
    EXPECT_EQ(normalForm("(a=b(c)d)"), "(a=b\\(c\\)d)");
}

TEST(LDAPGrammarError, NothingAtAll) {
    EXPECT_EQ(parseError(""), "Null query: ");
}

TEST(LDAPGrammarError, EndsTooSoon) {
    for (auto const* const filter :
         {" ",       "(",          "( ",    "(a",     "(  a  ",  "(a=",    "(a=b",
          "(a~=",    "(&",         "(|",    "(!",     "(& ",     "(&(",    "(&(a=b)",
          "(!(a=b)", "(|(&(a=b))", "(a=\\", "(a=\\)", "(a=b\\)", "(a=(b)", "(a=b(c)"}) {
        EXPECT_EQ(parseError(filter), "Unexpected end of query: ") << filter;
    }
}

TEST(LDAPGrammarError, WithoutParenthesis) {
    EXPECT_EQ(parseError("a=b"), "Malformed query: a=b");
    EXPECT_EQ(parseError(" x(a=b)"), "Malformed query: x(a=b)");
    EXPECT_EQ(parseError("(&a=b)"), "Malformed query: a=b)");
    EXPECT_EQ(parseError("(&(a=b)c)"), "Malformed query: c)");
    EXPECT_EQ(parseError("(!(a=b) x)"), "Malformed query: x)");
}

TEST(LDAPGrammarError, WithoutAttribute) {
    EXPECT_EQ(parseError("()"), "Malformed query: )");
    EXPECT_EQ(parseError("(=b)"), "Malformed query: =b)");
    EXPECT_EQ(parseError("( >=b)"), "Malformed query: >=b)");
    EXPECT_EQ(parseError("((a=b))"), "Malformed query: (a=b))");
}

TEST(LDAPGrammarError, WithoutOperand) {
    EXPECT_EQ(parseError("(&)"), "Malformed query: )");
    EXPECT_EQ(parseError("(| )"), "Malformed query: )");
    EXPECT_EQ(parseError("(!)"), "Malformed query: )");
    EXPECT_EQ(parseError("(&(a=b)(|)(c=d))"), "Malformed query: )(c=d))");
}

TEST(LDAPGrammarError, NegationOfSeveral) {
    EXPECT_EQ(parseError("(!(a=b)(c=d))"), "Malformed query: ");
    EXPECT_EQ(parseError("(&(!(a=b)(c=d))(e=f))"), "Malformed query: (e=f))");
}

TEST(LDAPGrammarError, UnknownOperator) {
    EXPECT_EQ(parseError("(a)"), "Undefined operator: )");
    EXPECT_EQ(parseError("(a>b)"), "Undefined operator: >b)");
    EXPECT_EQ(parseError("(a<b=c)"), "Undefined operator: <b=c)");
    EXPECT_EQ(parseError("(a~ =b)"), "Undefined operator: ~ =b)");
    EXPECT_EQ(parseError("(a(b=c)"), "Undefined operator: (b=c)");
    EXPECT_EQ(parseError("(ab<"), "Undefined operator: <");
}

TEST(LDAPGrammarError, TextBehindTheFilter) {
    EXPECT_EQ(parseError("(a=b))"), "Trailing garbage ')': )");
    EXPECT_EQ(parseError("(a=b)(c=d)"), "Trailing garbage '(c=d)': (c=d)");
    EXPECT_EQ(parseError("(a=b)  x"), "Trailing garbage '  x':   x");
    EXPECT_EQ(parseError("(a=b)\n"), "Trailing garbage '\n': \n");
}

} // namespace
