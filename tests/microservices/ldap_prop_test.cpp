// LDAPProp: building filter strings with operators.
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/LDAPProp.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::LDAPFilter;
using cppmicroservices::LDAPProp;
using cppmicroservices::LDAPPropExpr;

std::string str(LDAPPropExpr const& expression) {
    return expression;
}

TEST(LDAPProp, NeedsAName) {
    try {
        LDAPProp const property("");
        FAIL() << "no exception";
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(), "property must not be empty");
    }
}

TEST(LDAPProp, Equality) {
    EXPECT_EQ(str(LDAPProp("a") == "v"), "(a=v)");
    EXPECT_EQ(str(LDAPProp("a") == std::string("v")), "(a=v)");
    EXPECT_EQ(str(LDAPProp("a") == 1), "(a=1)");
    EXPECT_EQ(str(LDAPProp("a") == 1.5), "(a=1.5)");
    EXPECT_EQ(str(LDAPProp("a") == 'c'), "(a=c)");
    EXPECT_EQ(str(LDAPProp("a") == ""), "(a=)");
}

TEST(LDAPProp, EqualityWritesBoolAsAWord) {
    EXPECT_EQ(str(LDAPProp("a") == true), "(a=true)");
    EXPECT_EQ(str(LDAPProp("a") == false), "(a=false)");
}

TEST(LDAPProp, OtherComparisonsWriteBoolAsANumber) {
    EXPECT_EQ(str(LDAPProp("a") != true), "(!(a=1))");
    EXPECT_EQ(str(LDAPProp("a") >= true), "(a>=1)");
    EXPECT_EQ(str(LDAPProp("a").Approx(true)), "(a~=1)");
    EXPECT_EQ(str(LDAPProp("a") == Any(true)), "(a=1)");
}

TEST(LDAPProp, Inequality) {
    EXPECT_EQ(str(LDAPProp("a") != "v"), "(!(a=v))");
    EXPECT_EQ(str(LDAPProp("a") != 1), "(!(a=1))");
    EXPECT_EQ(str(LDAPProp("a") != Any(1)), "(!(a=1))");
}

TEST(LDAPProp, Order) {
    EXPECT_EQ(str(LDAPProp("a") >= 1), "(a>=1)");
    EXPECT_EQ(str(LDAPProp("a") >= "v"), "(a>=v)");
    EXPECT_EQ(str(LDAPProp("a") >= Any(1)), "(a>=1)");
    EXPECT_EQ(str(LDAPProp("a") <= -1), "(a<=-1)");
    EXPECT_EQ(str(LDAPProp("a") <= "v"), "(a<=v)");
    EXPECT_EQ(str(LDAPProp("a") <= Any(1)), "(a<=1)");
}

TEST(LDAPProp, Approximation) {
    EXPECT_EQ(str(LDAPProp("a").Approx("v")), "(a~=v)");
    EXPECT_EQ(str(LDAPProp("a").Approx(1)), "(a~=1)");
    EXPECT_EQ(str(LDAPProp("a").Approx(Any(1))), "(a~=1)");
}

TEST(LDAPProp, PresenceAndAbsence) {
    EXPECT_EQ(str(LDAPProp("a")), "(a=*)");
    EXPECT_EQ(str(!LDAPProp("a")), "(!(a=*))");
}

TEST(LDAPProp, ComparisonWithAnEmptyTextIsNull) {
    LDAPProp const property("a");
    std::string const empty;
    for (auto const& expression :
         {property == empty, property != empty, property >= empty, property <= empty, property.Approx(empty),
          property == Any(empty), property != Any(empty), property >= Any(empty), property <= Any(empty),
          property.Approx(Any(empty)), property != "", property >= "", property <= "", property.Approx("")}) {
        EXPECT_TRUE(expression.IsNull());
    }
}

TEST(LDAPProp, WritesAnysAsTheirStrings) {
    EXPECT_EQ(str(LDAPProp("a") == Any(std::string("s"))), "(a=s)");
    EXPECT_EQ(str(LDAPProp("a") == Any(std::vector<Any>{1, 2})), "(a=[1,2])");
    EXPECT_THROW((void)(LDAPProp("a") == Any()), std::logic_error);
    EXPECT_THROW((void)(LDAPProp("a") != Any()), std::logic_error);
}

TEST(LDAPProp, DoesNotEscape) {
    EXPECT_EQ(str(LDAPProp("a") == "x(y)*\\"), "(a=x(y)*\\)");
}

TEST(LDAPPropExpr, Combines) {
    EXPECT_EQ(str(LDAPProp("a") == 1 && LDAPProp("b") == 2), "(&(a=1)(b=2))");
    EXPECT_EQ(str(LDAPProp("a") == 1 || LDAPProp("b") == 2), "(|(a=1)(b=2))");
    EXPECT_EQ(str(LDAPProp("a") || !LDAPProp("b")), "(|(a=*)(!(b=*)))");
    EXPECT_EQ(str(LDAPProp("a") == 1 && LDAPProp("b") == 2 && LDAPProp("c") == 3), "(&(&(a=1)(b=2))(c=3))");
}

TEST(LDAPPropExpr, CombinesInPlace) {
    LDAPPropExpr expression;
    expression |= LDAPProp("a") == 1;
    EXPECT_EQ(str(expression), "(a=1)");
    expression |= LDAPProp("b") == 2;
    EXPECT_EQ(str(expression), "(|(a=1)(b=2))");
    expression &= LDAPProp("c") == 3;
    EXPECT_EQ(str(expression), "(&(|(a=1)(b=2))(c=3))");
}

TEST(LDAPPropExpr, NegatesInPlace) {
    LDAPPropExpr expression("(a=b)");
    EXPECT_EQ(&!expression, &expression);
    EXPECT_EQ(str(expression), "(!(a=b))");
    EXPECT_EQ(str(!(LDAPProp("a") == 1)), "(!(a=1))");
}

TEST(LDAPPropExpr, NullIsNeutral) {
    LDAPPropExpr null;
    LDAPPropExpr const some = LDAPProp("a") == 1;
    EXPECT_TRUE(null.IsNull());
    EXPECT_TRUE(LDAPPropExpr("").IsNull());
    EXPECT_FALSE(some.IsNull());
    EXPECT_EQ(str(null && some), "(a=1)");
    EXPECT_EQ(str(some && null), "(a=1)");
    EXPECT_EQ(str(null || some), "(a=1)");
    EXPECT_EQ(str(some || null), "(a=1)");
    EXPECT_EQ(str(null && null), "");
    EXPECT_EQ(str(!null), "");
}

TEST(LDAPPropExpr, MakesFilters) {
    LDAPFilter const filter(LDAPProp("name") == "Ben" && !(LDAPProp("count") >= 1));
    EXPECT_EQ(filter.ToString(), "(&(name=Ben)(!(count>=1)))");
}

} // namespace
