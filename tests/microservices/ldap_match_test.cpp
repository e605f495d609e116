// LDAPFilter: matching properties of every type.
#include "cppmicroservices/BundleVersion.h"
#include "cppmicroservices/LDAPFilter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <list>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

// Whether "(x<comparison>)" matches {x: value}.
bool matches(Any const& value, std::string const& comparison) {
    return LDAPFilter("(x" + comparison + ")").Match(AnyMap{{"x", value}});
}

Any text(std::string const& value) {
    return value;
}

std::string variantsError(std::string const& filter, AnyMap const& map, bool respectCase) {
    try {
        respectCase ? LDAPFilter(filter).MatchCase(map) : LDAPFilter(filter).Match(map);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "no error";
}

TEST(LDAPMatch, CombinesResults) {
    AnyMap const map{{"i", 42}, {"b", true}};
    EXPECT_TRUE(LDAPFilter("(&(i=42)(b=true))").Match(map));
    EXPECT_FALSE(LDAPFilter("(&(i=42)(b=false))").Match(map));
    EXPECT_TRUE(LDAPFilter("(|(i=41)(b=true))").Match(map));
    EXPECT_FALSE(LDAPFilter("(|(i=41)(b=false))").Match(map));
    EXPECT_TRUE(LDAPFilter("(!(i=41))").Match(map));
    EXPECT_FALSE(LDAPFilter("(!(i=42))").Match(map));
}

TEST(LDAPMatch, MissingPropertiesMatchNothing) {
    for (auto const* const filter : {"(none=*)", "(none=x)", "(none~=*)", "(none>=0)", "(none=)"}) {
        EXPECT_FALSE(LDAPFilter(filter).Match(AnyMap{{"x", 1}})) << filter;
        EXPECT_FALSE(LDAPFilter(filter).Match(AnyMap())) << filter;
    }
    EXPECT_TRUE(LDAPFilter("(!(none=*))").Match(AnyMap()));
}

TEST(LDAPMatch, EmptyAnysMatchNothing) {
    for (auto const* const comparison : {"=*", "=", "~=", ">=1"}) {
        EXPECT_FALSE(matches(Any(), comparison)) << comparison;
    }
}

TEST(LDAPMatch, PresenceIsTrueForAValueOfAnyType) {
    char const* const null = nullptr;
    for (auto const& value :
         {Any(1), Any(true), Any(1.5), Any('c'), text(""), text("x"), Any(std::vector<std::string>()),
          Any(std::vector<Any>()), Any(std::set<std::string>()), Any(AnyMap()), Any(null),
          Any(cppmicroservices::BundleVersion(1, 2, 3))}) {
        EXPECT_TRUE(matches(value, "=*")) << value.Type().name();
    }
}

TEST(LDAPMatch, LooksKeysUpWithoutRegardToCase) {
    for (auto const kind :
         {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        AnyMap const map(kind, {{"Key", 1}, {"other", 2}});
        for (auto const* const filter : {"(Key=1)", "(key=1)", "(KEY=1)", "(OTHER=2)"}) {
            EXPECT_TRUE(LDAPFilter(filter).Match(map)) << filter;
        }
        EXPECT_FALSE(LDAPFilter("(Keys=1)").Match(map));
    }
}

TEST(LDAPMatch, MatchCaseLooksKeysUpWithRegardToCaseInEveryKindOfMap) {
    for (auto const kind :
         {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        AnyMap const map(kind, {{"Key", 1}, {"other", 2}});
        EXPECT_TRUE(LDAPFilter("(Key=1)").MatchCase(map));
        EXPECT_FALSE(LDAPFilter("(key=1)").MatchCase(map));
    }
}

TEST(LDAPMatch, RefusesKeysThatDifferInCaseOnly) {
    std::string const message = "Properties contain case variants of the key: ";
    AnyMap const ordered(AnyMap::ORDERED_MAP, {{"Key", 1}, {"z", 1}, {"key", 2}});
    AnyMap const unordered(AnyMap::UNORDERED_MAP, {{"Key", 1}, {"z", 1}, {"key", 2}});
    for (auto const* const filter : {"(Key=1)", "(z=1)", "(!(none=1))"}) {
        for (bool const respectCase : {false, true}) {
            EXPECT_EQ(variantsError(filter, ordered, respectCase), message + "Key") << filter;
            EXPECT_EQ(variantsError(filter, unordered, respectCase).substr(0, message.size()), message)
                << filter;
        }
    }
}

TEST(LDAPMatch, OfManyKeysThatDifferInCaseOnlyTheFirstIsNamed) {
    constexpr int count = 100;
    AnyMap::ordered_any_map keys;
    for (int i = 0; i < count; ++i) {
        keys["key" + std::to_string(i)] = i;
    }
    EXPECT_TRUE(LDAPFilter("(KEY7=7)").Match(AnyMap(keys)));
    EXPECT_TRUE(LDAPFilter("(key7=7)").MatchCase(AnyMap(keys)));
    for (int i = count - 1; i >= 0; --i) {
        auto const variant = "KEY" + std::to_string(i);
        keys[variant] = i;
        EXPECT_EQ(variantsError("(key7=7)", AnyMap(keys), false),
                  "Properties contain case variants of the key: " + keys.begin()->first);
    }
}

TEST(LDAPMatch, KeysWithNonAsciiLettersOfDifferentCaseAreDifferent) {
    AnyMap const map(AnyMap::ORDERED_MAP, {{"\xc3\x84", 1}, {"\xc3\xa4", 2}});
    EXPECT_TRUE(LDAPFilter("(\xc3\xa4=2)").Match(map));
}

TEST(LDAPMatch, KeysWithDotsAreNotFollowedIntoMaps) {
    AnyMap const map{{"map", AnyMap{{"key", 1}}}, {"dot.ted", 1}};
    EXPECT_FALSE(LDAPFilter("(map.key=1)").Match(map));
    EXPECT_TRUE(LDAPFilter("(dot.ted=1)").Match(map));
}

TEST(LDAPMatchText, EqualityRespectsCaseAndWhiteSpace) {
    EXPECT_TRUE(matches(text("Hello World"), "=Hello World"));
    EXPECT_FALSE(matches(text("Hello World"), "=hello world"));
    EXPECT_FALSE(matches(text("Hello World"), "=Hello World "));
    EXPECT_TRUE(matches(text(" x "), "= x "));
    EXPECT_TRUE(matches(text(""), "="));
    EXPECT_FALSE(matches(text("x"), "="));
    EXPECT_TRUE(matches(text(std::string("a\0b", 3)), std::string("=a\0b", 4)));
}

TEST(LDAPMatchText, WildcardsStandForAnyText) {
    for (auto const* const comparison : {"=Hello*", "=*World", "=*lo W*", "=H*o*d", "=Hello World*",
                                         "=*Hello World", "=**", "=H**d", "=*o*o*"}) {
        EXPECT_TRUE(matches(text("Hello World"), comparison)) << comparison;
    }
    for (auto const* const comparison :
         {"=*x*", "=*Hello", "=World*", "=H*H", "=*o*o*o*", "=hello*", "=Hello World*!", "=Hello*lo World"}) {
        EXPECT_FALSE(matches(text("Hello World"), comparison)) << comparison;
    }
    EXPECT_TRUE(matches(text(""), "=**"));
}

TEST(LDAPMatchText, PartsBetweenWildcardsDoNotOverlap) {
    EXPECT_TRUE(matches(text("Hello"), "=Hel*lo"));
    EXPECT_FALSE(matches(text("Hello"), "=Hell*lo"));
    EXPECT_FALSE(matches(text("abc"), "=ab*bc"));
    EXPECT_TRUE(matches(text("aXbXc"), "=a*b*c"));
    EXPECT_FALSE(matches(text("aXbXc"), "=a*c*b"));
}

TEST(LDAPMatchText, EscapedCharactersStandForThemselves) {
    EXPECT_TRUE(matches(text("a*b"), "=a\\*b"));
    EXPECT_FALSE(matches(text("acb"), "=a\\*b"));
    EXPECT_TRUE(matches(text("(x)"), "=\\(x\\)"));
    EXPECT_TRUE(matches(text("(x)"), "=(x)"));
    EXPECT_TRUE(matches(text("a\\b"), "=a\\\\b"));
    EXPECT_FALSE(matches(text("a\\b"), "=a\\b"));
    EXPECT_TRUE(matches(text("(x)y"), "=*\\)*"));
}

TEST(LDAPMatchText, ApproximationIgnoresCaseAndWhiteSpace) {
    for (auto const* const comparison :
         {"~=hello world", "~=HELLOWORLD", "~= h e l l o\tworld ", "~=Hello World"}) {
        EXPECT_TRUE(matches(text("Hello World"), comparison)) << comparison;
    }
    EXPECT_FALSE(matches(text("Hello World"), "~=hello"));
    EXPECT_TRUE(matches(text("  \n "), "~="));
    EXPECT_FALSE(matches(text("\xc3\xa4"), "~=\xc3\x84"));
}

TEST(LDAPMatchText, ApproximationKnowsNoWildcards) {
    EXPECT_FALSE(matches(text("abc"), "~=a*c"));
    EXPECT_FALSE(matches(text("a*c"), "~=a*c"));
    EXPECT_FALSE(matches(text("abc"), "~=*"));
    EXPECT_TRUE(matches(text("a*c"), "~=A\\*C"));
}

TEST(LDAPMatchText, OrdersBytewise) {
    EXPECT_TRUE(matches(text("Hello"), ">=Hello"));
    EXPECT_TRUE(matches(text("Hello"), "<=Hello"));
    EXPECT_TRUE(matches(text("Hello"), ">=Hell"));
    EXPECT_FALSE(matches(text("Hello"), "<=Hell"));
    EXPECT_TRUE(matches(text("Hello"), "<=I"));
    EXPECT_FALSE(matches(text("10"), ">=9"));
    EXPECT_TRUE(matches(text(""), "<="));
    EXPECT_TRUE(matches(text("\xc3\xa4"), ">=z"));
}

TEST(LDAPMatchText, WildcardsOrderBehindAllOtherAscii) {
    EXPECT_TRUE(matches(text("az"), "<=a*"));
    EXPECT_FALSE(matches(text("az"), ">=a*"));
    EXPECT_TRUE(matches(text("a\x80"), ">=a*"));
}

TEST(LDAPMatchText, CharacterPointersAreText) {
    char const* const value = "li*t";
    EXPECT_TRUE(matches(value, "=li\\*t"));
    EXPECT_TRUE(matches(value, "=l*t"));
    EXPECT_TRUE(matches(value, "~=LI\\*T"));
    EXPECT_TRUE(matches(value, ">=a"));
    EXPECT_FALSE(matches(value, "=li*x"));
    EXPECT_FALSE(matches(value, "~=list"));
    EXPECT_FALSE(matches(value, ">=m"));
    EXPECT_FALSE(matches(static_cast<char const*>(nullptr), "="));
}

TEST(LDAPMatchText, CharIsATextOfOneCharacter) {
    EXPECT_TRUE(matches('x', "=x"));
    EXPECT_FALSE(matches('x', "=X"));
    EXPECT_FALSE(matches('x', "=xy"));
    EXPECT_FALSE(matches('x', "="));
    EXPECT_TRUE(matches('x', "=x*"));
    EXPECT_TRUE(matches('x', "~= X "));
    EXPECT_TRUE(matches(' ', "~="));
    EXPECT_TRUE(matches('x', ">=a"));
    EXPECT_FALSE(matches('x', "<=w"));
}

TEST(LDAPMatchBool, ComparesWithTheWordWithoutRegardToCase) {
    EXPECT_TRUE(matches(true, "=true"));
    EXPECT_TRUE(matches(true, "=TRUE"));
    EXPECT_TRUE(matches(true, "~=True"));
    EXPECT_FALSE(matches(true, "=false"));
    EXPECT_TRUE(matches(false, "=false"));
    EXPECT_FALSE(matches(false, "=true"));
    EXPECT_FALSE(matches(true, "=1"));
    EXPECT_FALSE(matches(false, "=0"));
    EXPECT_FALSE(matches(true, "=truex"));
    EXPECT_FALSE(matches(true, "= true"));
    EXPECT_FALSE(matches(true, "=t*"));
}

TEST(LDAPMatchBool, ABeginningOfTheWordIsEnough) {
    EXPECT_TRUE(matches(true, "=tr"));
    EXPECT_TRUE(matches(true, "="));
    EXPECT_TRUE(matches(false, "=F"));
    EXPECT_TRUE(matches(false, "~="));
    EXPECT_FALSE(matches(true, "=rue"));
}

TEST(LDAPMatchBool, HasNoOrder) {
    for (auto const* const comparison : {">=true", "<=true", ">=false", "<=false"}) {
        EXPECT_FALSE(matches(true, comparison)) << comparison;
        EXPECT_FALSE(matches(false, comparison)) << comparison;
    }
}

TEST(LDAPMatchInteger, ComparesByValue) {
    EXPECT_TRUE(matches(42, "=42"));
    EXPECT_TRUE(matches(42, "=042"));
    EXPECT_TRUE(matches(42, "=+42"));
    EXPECT_FALSE(matches(42, "=43"));
    EXPECT_TRUE(matches(42, "~=42"));
    EXPECT_TRUE(matches(42, ">=42"));
    EXPECT_FALSE(matches(42, ">=43"));
    EXPECT_TRUE(matches(42, "<=43"));
    EXPECT_FALSE(matches(42, "<=41"));
    EXPECT_TRUE(matches(-7, "<=-6"));
    EXPECT_TRUE(matches(-7, "=-7"));
}

TEST(LDAPMatchInteger, IgnoresWhiteSpaceAroundAndTextBehindTheNumber) {
    for (auto const* const comparison : {"= 42", "=\t\n42", "=42 ", "=42x", "=42.9", "~= 42 ", ">=42.9"}) {
        EXPECT_TRUE(matches(42, comparison)) << comparison;
    }
    EXPECT_FALSE(matches(42, "=4 2"));
    EXPECT_FALSE(matches(42, "=0x2a"));
}

TEST(LDAPMatchInteger, TextThatIsNoNumberMatchesNothing) {
    for (auto const* const comparison :
         {"=", "=x", "= ", "=-", "=--0", "~=", "~=x", ">=", ">=x", "<=x", "=**", "=*0"}) {
        EXPECT_FALSE(matches(0, comparison)) << comparison;
    }
}

TEST(LDAPMatchInteger, NumbersTooLargeForLongMatchNothing) {
    EXPECT_FALSE(matches(42, "<=99999999999999999999"));
    EXPECT_FALSE(matches(42, ">=-99999999999999999999"));
    EXPECT_FALSE(matches(std::numeric_limits<std::uint64_t>::max(), "=18446744073709551615"));
}

TEST(LDAPMatchInteger, NumbersWrapAroundToThePropertysType) {
    EXPECT_TRUE(matches(42, "=4294967338"));
    EXPECT_TRUE(matches(short(3), "=65539"));
    EXPECT_TRUE(matches(static_cast<unsigned char>(200), "=-56"));
    EXPECT_TRUE(matches(5u, "<=-1"));
    EXPECT_FALSE(matches(5u, ">=-1"));
    EXPECT_TRUE(matches(std::numeric_limits<unsigned long>::max(), "=-1"));
}

TEST(LDAPMatchInteger, AllIntegerTypesButSignedCharAreNumbers) {
    EXPECT_TRUE(matches(short(3), "=3"));
    EXPECT_TRUE(matches(static_cast<unsigned short>(3), ">=2"));
    EXPECT_TRUE(matches(3u, "<=4"));
    EXPECT_TRUE(matches(3L, "=3"));
    EXPECT_TRUE(matches(3UL, "=3"));
    EXPECT_TRUE(matches(3LL, "=3"));
    EXPECT_TRUE(matches(3ULL, "=3"));
    EXPECT_TRUE(matches(static_cast<unsigned char>(65), "=65"));
    EXPECT_FALSE(matches(static_cast<unsigned char>(65), "=A"));
    EXPECT_FALSE(matches(static_cast<signed char>(65), "=65"));
    EXPECT_FALSE(matches(static_cast<signed char>(65), "=A"));
}

TEST(LDAPMatchFloatingPoint, ComparesByValue) {
    EXPECT_TRUE(matches(1.5, "=1.5"));
    EXPECT_TRUE(matches(1.5, "=1.50"));
    EXPECT_TRUE(matches(1.5, "=15e-1"));
    EXPECT_TRUE(matches(1.5, "~=1.5"));
    EXPECT_FALSE(matches(1.5, "=1.6"));
    EXPECT_TRUE(matches(1.5, ">=1"));
    EXPECT_FALSE(matches(1.5, "<=1.4"));
    EXPECT_TRUE(matches(2.5f, "=2.5"));
    EXPECT_TRUE(matches(0.1, "<=inf"));
}

TEST(LDAPMatchFloatingPoint, EqualityAllowsTheTypesEpsilon) {
    EXPECT_TRUE(matches(0.1 + 0.2, "=0.3"));
    EXPECT_FALSE(matches(1.0, "=1.0000000000000003"));
    EXPECT_TRUE(matches(2e-16, "=0"));
    EXPECT_FALSE(matches(3e-16, "=0"));
    EXPECT_TRUE(matches(1.0f, "=1.0000001"));
    EXPECT_FALSE(matches(1.0f, "=1.0000002"));
    EXPECT_FALSE(matches(16777216.0f, "=16777217"));
}

TEST(LDAPMatchFloatingPoint, OrderIsExact) {
    EXPECT_FALSE(matches(0.1 + 0.2, "<=0.3"));
    EXPECT_FALSE(matches(0.1f, "<=0.1"));
    EXPECT_TRUE(matches(0.1f, ">=0.1"));
}

TEST(LDAPMatchFloatingPoint, IgnoresTextBehindTheNumber) {
    EXPECT_TRUE(matches(1.5, "= 1.5x"));
    EXPECT_FALSE(matches(1.5, "=1,5"));
}

TEST(LDAPMatchFloatingPoint, TextThatIsNoNumberMatchesNothing) {
    for (auto const* const comparison : {"=", "=x", ">=x", "<=", "=**"}) {
        EXPECT_FALSE(matches(0.0, comparison)) << comparison;
    }
}

TEST(LDAPMatchFloatingPoint, NumbersThatOverflowOrUnderflowMatchNothing) {
    EXPECT_FALSE(matches(1e308, "<=1e309"));
    EXPECT_FALSE(matches(0.1, ">=1e-400"));
}

TEST(LDAPMatchFloatingPoint, SubnormalNumbersAreNumbers) {
    EXPECT_TRUE(matches(0.1, ">=1e-310"));
    EXPECT_FALSE(matches(0.0, ">=5e-324"));
    EXPECT_TRUE(matches(0.0f, "<=1e-310"));
    EXPECT_TRUE(matches(std::numeric_limits<double>::denorm_min(), "<=5e-324"));
    EXPECT_FALSE(matches(0.0, "<=1e-324")); // no longer told from 0
}

TEST(LDAPMatchFloatingPoint, NotANumberEqualsNothing) {
    double const notANumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(matches(notANumber, "=nan"));
    EXPECT_FALSE(matches(notANumber, ">=0"));
    EXPECT_FALSE(matches(1.0, "<=nan"));
}

TEST(LDAPMatchContainer, AnyElementOfAStringSequenceMayMatch) {
    std::vector<std::string> const vector{"one", "two words"};
    std::list<std::string> const list{"one", "two words"};
    for (auto const& value : {Any(vector), Any(list)}) {
        EXPECT_TRUE(matches(value, "=one"));
        EXPECT_TRUE(matches(value, "=two*"));
        EXPECT_TRUE(matches(value, "~=TWOWORDS"));
        EXPECT_TRUE(matches(value, ">=p"));
        EXPECT_FALSE(matches(value, "=three"));
    }
}

TEST(LDAPMatchContainer, AnyElementOfAnAnyVectorMayMatchByItsOwnType) {
    Any const value(std::vector<Any>{Any(), 1, std::string("text"), true, 2.5, 'c',
                                     std::vector<std::string>{"inner"},
                                     std::vector<Any>{std::list<std::string>{"deep"}}});
    for (auto const* const comparison :
         {"=1", "=text", "=true", "=2.5", "=c", "=inner", "=deep", "~=TEXT", ">=2"}) {
        EXPECT_TRUE(matches(value, comparison)) << comparison;
    }
    EXPECT_FALSE(matches(value, "=none"));
    EXPECT_TRUE(matches(std::vector<Any>{Any()}, "=*"));
}

TEST(LDAPMatchContainer, EmptyOnesMatchPresenceOnly) {
    for (auto const& value : {Any(std::vector<std::string>()), Any(std::vector<Any>())}) {
        EXPECT_TRUE(matches(value, "=*"));
        EXPECT_FALSE(matches(value, "=**"));
        EXPECT_FALSE(matches(value, "="));
    }
}

TEST(LDAPMatchContainer, OtherTypesMatchPresenceOnly) {
    EXPECT_FALSE(matches(std::vector<int>{1}, "=1"));
    EXPECT_FALSE(matches(std::vector<bool>{true}, "=true"));
    EXPECT_FALSE(matches(std::vector<double>{1.5}, "=1.5"));
    EXPECT_FALSE(matches(std::list<Any>{std::string("x")}, "=x"));
    EXPECT_FALSE(matches(std::set<std::string>{"x"}, "=x"));
    EXPECT_FALSE(matches(AnyMap{{"k", std::string("x")}}, "=x"));
    EXPECT_FALSE(matches(cppmicroservices::BundleVersion(1, 2, 3), "=1.2.3"));
    EXPECT_FALSE(matches(1.5L, "=1.5"));
}

} // namespace
