// BundleVersion: reading, comparing and writing.
#include "cppmicroservices/BundleVersion.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using cppmicroservices::BundleVersion;

template <typename Exception, typename Function>
std::string messageOf(Function function) {
    try {
        function();
    } catch (Exception const& error) {
        return error.what();
    }
    return "no exception";
}

BundleVersion versionOf(std::string const& text) {
    return BundleVersion(text);
}

std::string parseError(std::string const& version) {
    return messageOf<std::invalid_argument>([&] { BundleVersion{version}; });
}

TEST(BundleVersion, IsMadeOfItsComponents) {
    BundleVersion const version(1, 2, 3, "beta-4_b");
    EXPECT_EQ(version.GetMajor(), 1u);
    EXPECT_EQ(version.GetMinor(), 2u);
    EXPECT_EQ(version.GetMicro(), 3u);
    EXPECT_EQ(version.GetQualifier(), "beta-4_b");
    EXPECT_FALSE(version.IsUndefined());
    EXPECT_EQ(BundleVersion(1, 2, 3).GetQualifier(), "");
}

TEST(BundleVersion, ReadsOneToFourComponents) {
    EXPECT_EQ(versionOf("1").ToString(), "1.0.0");
    EXPECT_EQ(versionOf("1.2").ToString(), "1.2.0");
    EXPECT_EQ(versionOf("1.2.3").ToString(), "1.2.3");
    EXPECT_EQ(versionOf("1.2.3.q").ToString(), "1.2.3.q");
    EXPECT_EQ(versionOf("01.002.3.4").ToString(), "1.2.3.4");
    EXPECT_EQ(versionOf("4294967295").GetMajor(), 4294967295u);
}

TEST(BundleVersion, ReadsMissingNumbersAsZero) {
    EXPECT_EQ(versionOf("1.").ToString(), "1.0.0");
    EXPECT_EQ(versionOf("1..2").ToString(), "1.0.2");
    EXPECT_EQ(versionOf(".1").ToString(), "0.1.0");
    EXPECT_EQ(versionOf("1.2.3.").ToString(), "1.2.3");
    EXPECT_EQ(versionOf("1.2.3.q.").ToString(), "1.2.3.q");
}

TEST(BundleVersion, IgnoresWhatFollowsANumber) {
    EXPECT_EQ(versionOf("1,2").ToString(), "1.0.0");
    EXPECT_EQ(versionOf(" 1 .2x").ToString(), "1.2.0");
}

TEST(BundleVersion, RefusesWhatIsNoNumber) {
    EXPECT_EQ(parseError("a"), "invalid format");
    EXPECT_EQ(parseError("1.a"), "invalid format");
    EXPECT_EQ(parseError("4294967296"), "invalid format");
    EXPECT_EQ(parseError(" "), "invalid format");
}

TEST(BundleVersion, OnlyTheLastNumberMustBeOne) {
    EXPECT_EQ(versionOf("v1.2").ToString(), "0.2.0");
    EXPECT_EQ(versionOf("1.x.3.q").ToString(), "1.0.3.q");
    EXPECT_EQ(versionOf("1. .3").ToString(), "1.0.3");
    EXPECT_EQ(versionOf("4294967296.1").ToString(), "4294967295.1.0");
    for (auto const* const version : {"1..", ".", "1.2.x", "1.2..q", "..."}) {
        EXPECT_EQ(parseError(version), "invalid format") << version;
    }
}

TEST(BundleVersion, RefusesMoreThanFourComponents) {
    EXPECT_EQ(parseError("1.2.3.q.r"), "invalid format");
}

TEST(BundleVersion, RefusesOtherCharactersInTheQualifier) {
    EXPECT_EQ(parseError("1.2.3.q!"), "invalid qualifier: q!");
    EXPECT_EQ(messageOf<std::invalid_argument>([] { BundleVersion(1, 2, 3, "q.r"); }),
              "invalid qualifier: q.r");
}

TEST(BundleVersion, OfNoTextIsUndefined) {
    EXPECT_TRUE(versionOf("").IsUndefined());
}

TEST(BundleVersion, UndefinedHasNoComponents) {
    BundleVersion const version = BundleVersion::UndefinedVersion();
    EXPECT_TRUE(version.IsUndefined());
    EXPECT_EQ(version.ToString(), "undefined");
    EXPECT_EQ(messageOf<std::logic_error>([&] { version.GetMajor(); }), "Version undefined");
    EXPECT_EQ(messageOf<std::logic_error>([&] { version.GetMinor(); }), "Version undefined");
    EXPECT_EQ(messageOf<std::logic_error>([&] { version.GetMicro(); }), "Version undefined");
    EXPECT_EQ(messageOf<std::logic_error>([&] { version.GetQualifier(); }), "Version undefined");
}

TEST(BundleVersion, EmptyIsZero) {
    EXPECT_EQ(BundleVersion::EmptyVersion().ToString(), "0.0.0");
    EXPECT_FALSE(BundleVersion::EmptyVersion().IsUndefined());
}

TEST(BundleVersion, ParseVersionOfNoTextIsEmpty) {
    EXPECT_EQ(BundleVersion::ParseVersion("").ToString(), "0.0.0");
    EXPECT_EQ(BundleVersion::ParseVersion("  ").ToString(), "0.0.0");
}

TEST(BundleVersion, ParseVersionIgnoresBlanksAround) {
    EXPECT_EQ(BundleVersion::ParseVersion("  1.2.3.q ").ToString(), "1.2.3.q");
    EXPECT_EQ(BundleVersion::ParseVersion("\t1.2.3\n").ToString(), "1.2.3");
    EXPECT_THROW(BundleVersion::ParseVersion("1.2.3.q\n"), std::invalid_argument);
    EXPECT_THROW(BundleVersion::ParseVersion("\t"), std::invalid_argument);
    EXPECT_THROW(BundleVersion::ParseVersion("x"), std::invalid_argument);
}

TEST(BundleVersion, ComparesComponentByComponent) {
    BundleVersion const version(1, 2, 3, "b");
    EXPECT_EQ(version.Compare(BundleVersion(1, 2, 3, "b")), 0);
    for (auto const& higher : {BundleVersion(2, 0, 0), BundleVersion(1, 3, 0), BundleVersion(1, 2, 4),
                               BundleVersion(1, 2, 3, "c"), BundleVersion(4294967295u, 0, 0)}) {
        EXPECT_LT(version.Compare(higher), 0) << higher;
        EXPECT_GT(higher.Compare(version), 0) << higher;
    }
    EXPECT_LT(BundleVersion(1, 2, 3).Compare(version), 0);
}

TEST(BundleVersion, Equality) {
    EXPECT_TRUE(BundleVersion(1, 2, 3, "a") == versionOf("1.2.3.a"));
    EXPECT_FALSE(BundleVersion(1, 2, 3, "a") == BundleVersion(1, 2, 3));
}

TEST(BundleVersion, UndefinedComparesOnlyWithItsLike) {
    BundleVersion const undefined = BundleVersion::UndefinedVersion();
    BundleVersion const defined(1, 0, 0);
    EXPECT_TRUE(undefined == undefined);
    EXPECT_FALSE(defined == undefined);
    EXPECT_EQ(messageOf<std::logic_error>([&] { (void)(undefined == defined); }), "Version undefined");
    EXPECT_EQ(messageOf<std::logic_error>([&] { undefined.Compare(defined); }),
              "Cannot compare undefined version");
    EXPECT_EQ(messageOf<std::logic_error>([&] { defined.Compare(undefined); }),
              "Cannot compare undefined version");
}

TEST(BundleVersion, StreamsItsString) {
    std::ostringstream os;
    os << BundleVersion(1, 2, 3) << ' ' << BundleVersion::UndefinedVersion();
    EXPECT_EQ(os.str(), "1.2.3 undefined");
}

} // namespace
