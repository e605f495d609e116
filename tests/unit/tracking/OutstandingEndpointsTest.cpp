// The list of outstanding endpoints, short and long: whatever its length, it behaves like a plain list.
#include "tracking/OutstandingEndpoints.hpp"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tracking/endpointHash.hpp"
#include "tracking/endpoints.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using cppmicroservices::Any;

// Lengths on both sides of any length from which a list is looked after differently.
class OutstandingEndpointsTest : public ::testing::TestWithParam<std::size_t> {
protected:
    // Distinct strings, as many as the parameter says.
    static Endpoints strings() {
        Endpoints result;
        for (std::size_t i = 0; i < GetParam(); ++i) {
            result.push_back(endpoint("unix:" + std::to_string(i)));
        }
        return result;
    }
};

INSTANTIATE_TEST_SUITE_P(OfLength, OutstandingEndpointsTest,
                         ::testing::Values(2, 3, 11, 12, 13, 14, 100, 2000),
                         ::testing::PrintToStringParamName());

std::string describe(Endpoints const& endpoints) {
    return test::describe(Any(endpoints));
}

// What the class stands for, written plainly.
bool removeFrom(Endpoints& list, Any const& removed) {
    auto const end = std::remove_if(list.begin(), list.end(), [&](Any const& other) {
        return !other.Empty() && !removed.Empty() && other == removed;
    });
    auto const found = end != list.end();
    list.erase(end, list.end());
    return found;
}

// What an index of twenty tells texts apart by first: the lower bits of their hashes, which choose a place,
// and the upper ones, which it keeps there.
std::uint64_t looksOf(std::string const& text) {
    auto const hash = hashOfEndpoint(text);
    return (hash >> 48U) << 5U | (hash & 0x1FU);
}

void expectThatTheyAreToldApart(std::string const& text, std::string const& other) {
    ASSERT_EQ(looksOf(text), looksOf(other))
        << "the hash is another now: count up until two texts look alike";
    Endpoints listed{endpoint(text)};
    for (auto i = 0; i < 18; ++i) {
        listed.push_back(endpoint("unix:" + std::to_string(i)));
    }
    OutstandingEndpoints withoutOther(listed);
    EXPECT_FALSE(withoutOther.remove(endpoint(other)));
    EXPECT_EQ(describe(withoutOther.list()), describe(listed));

    auto both = listed;
    both.push_back(endpoint(other));
    OutstandingEndpoints withBoth(both);
    EXPECT_TRUE(withBoth.remove(endpoint(other)));
    EXPECT_EQ(describe(withBoth.list()), describe(listed));
}

} // namespace

TEST(OutstandingEndpoints, AnEmptyListIsEmptyAndRemovesNothing) {
    OutstandingEndpoints endpoints({});
    EXPECT_TRUE(endpoints.empty());
    EXPECT_FALSE(endpoints.remove(endpoint("b")));
    EXPECT_FALSE(endpoints.remove(Any()));
    EXPECT_EQ(describe(endpoints.list()), "[]");
}

TEST(OutstandingEndpoints, TellsTextsOfOneLengthApartThatLookAlikeToTheIndex) {
    expectThatTheyAreToldApart("peer:10000000", "peer:13209744");
}

TEST(OutstandingEndpoints, TellsATextApartFromItsBeginningThatLooksAlikeToTheIndex) {
    expectThatTheyAreToldApart("peer:34470610", "peer:3447061");
}

TEST_P(OutstandingEndpointsTest, ListsWhatIsLeftInTheGivenOrder) {
    auto expected = strings();
    OutstandingEndpoints endpoints(expected);
    EXPECT_EQ(describe(endpoints.list()), describe(expected));
    EXPECT_TRUE(endpoints.remove(expected[1]));
    expected.erase(expected.begin() + 1);
    EXPECT_EQ(describe(endpoints.list()), describe(expected));
}

TEST_P(OutstandingEndpointsTest, RemovesEachOnceAndIsEmptyAtTheEnd) {
    auto const all = strings();
    OutstandingEndpoints endpoints(all);
    for (auto const& each : all) {
        EXPECT_FALSE(endpoints.empty());
        EXPECT_TRUE(endpoints.remove(each));
        EXPECT_FALSE(endpoints.remove(each));
    }
    EXPECT_TRUE(endpoints.empty());
    EXPECT_EQ(describe(endpoints.list()), "[]");
}

TEST_P(OutstandingEndpointsTest, OneThatIsRemovedBeforeItsTurnIsNotRemovedAgainInItsTurn) {
    auto const all = strings();
    OutstandingEndpoints endpoints(all);
    EXPECT_TRUE(endpoints.remove(all.back()));
    for (std::size_t i = 0; i + 1 < all.size(); ++i) {
        EXPECT_FALSE(endpoints.empty());
        EXPECT_TRUE(endpoints.remove(all[i]));
    }
    EXPECT_TRUE(endpoints.empty());
    EXPECT_FALSE(endpoints.remove(all.back()));
    EXPECT_TRUE(endpoints.empty());
}

TEST_P(OutstandingEndpointsTest, RemovesEveryOccurrenceAtOnce) {
    auto repeated = strings();
    auto const others = std::vector<Any>(repeated.begin() + 1, repeated.end());
    repeated.insert(repeated.begin() + 1, repeated.front());
    repeated.push_back(repeated.front());
    OutstandingEndpoints endpoints(repeated);
    EXPECT_TRUE(endpoints.remove(repeated.front()));
    EXPECT_FALSE(endpoints.remove(repeated.front()));
    EXPECT_EQ(describe(endpoints.list()), describe(others));
}

TEST_P(OutstandingEndpointsTest, AnUnknownEndpointRemovesNothing) {
    auto const all = strings();
    OutstandingEndpoints endpoints(all);
    EXPECT_FALSE(endpoints.remove(endpoint("tcp:0")));
    EXPECT_FALSE(endpoints.remove(endpoint("")));
    EXPECT_FALSE(endpoints.remove(Any(0)));
    EXPECT_FALSE(endpoints.remove(Any(static_cast<char const*>("unix:0"))));
    EXPECT_EQ(describe(endpoints.list()), describe(all));
}

TEST_P(OutstandingEndpointsTest, AnEmptyEndpointEqualsNothingNotEvenAnEmptyOneOrARemovedOne) {
    auto all = strings();
    all.push_back(Any());
    OutstandingEndpoints endpoints(all);
    endpoints.remove(all.front());
    EXPECT_FALSE(endpoints.remove(Any()));
    all.erase(all.begin());
    EXPECT_EQ(describe(endpoints.list()), describe(all));
    EXPECT_FALSE(endpoints.empty());
}

TEST_P(OutstandingEndpointsTest, EndpointsOfOtherTypesStandBetweenStrings) {
    auto all = strings();
    all.insert(all.begin() + 1, Any(7));
    all.insert(all.begin(), Any(7));
    all.push_back(Any(8));
    OutstandingEndpoints endpoints(all);
    EXPECT_TRUE(endpoints.remove(Any(7)));
    EXPECT_FALSE(endpoints.remove(Any(7)));
    EXPECT_FALSE(endpoints.remove(Any(7L)));
    removeFrom(all, Any(7));
    EXPECT_EQ(describe(endpoints.list()), describe(all));
    EXPECT_TRUE(endpoints.remove(all.front()));
    EXPECT_TRUE(endpoints.remove(Any(8)));
}

TEST_P(OutstandingEndpointsTest, TellsTextsApartWhateverTheirLength) {
    auto listed = strings();
    auto const shorter = listed.size();
    for (std::size_t const length : {65534U, 65535U, 65536U, 70000U}) {
        listed.push_back(endpoint(std::string(length, 'x')));
    }
    OutstandingEndpoints endpoints(listed);
    EXPECT_FALSE(endpoints.remove(endpoint(std::string(65537, 'x'))));
    EXPECT_FALSE(endpoints.remove(endpoint(std::string(65535, 'y'))));
    while (listed.size() > shorter) {
        EXPECT_TRUE(endpoints.remove(listed.back()));
        EXPECT_FALSE(endpoints.remove(listed.back()));
        listed.pop_back();
        EXPECT_EQ(describe(endpoints.list()), describe(listed));
    }
}

TEST_P(OutstandingEndpointsTest, BehavesLikeAPlainListUnderRandomRemovals) {
    std::mt19937 random(static_cast<std::uint32_t>(GetParam()));
    // Half as many values as endpoints, so that many repeat; every fourth is no string, every ninth empty.
    auto const someEndpoint = [&]() -> Any {
        auto const value = static_cast<int>(random() % (GetParam() / 2 + 1));
        return value % 9 == 8 ? Any() : value % 4 == 3 ? Any(value) : endpoint(std::to_string(value));
    };
    Endpoints plain(GetParam());
    std::generate(plain.begin(), plain.end(), someEndpoint);
    OutstandingEndpoints endpoints(plain);
    for (std::size_t step = 0; step < 2 * GetParam(); ++step) {
        auto const removed = someEndpoint();
        ASSERT_EQ(endpoints.remove(removed), removeFrom(plain, removed)) << "step " << step;
        ASSERT_EQ(endpoints.empty(), plain.empty()) << "step " << step;
    }
    EXPECT_EQ(describe(endpoints.list()), describe(plain));
}

} // namespace agent::spf::frameworksetup::test
