// What a manifest's text is taken for, and what is said of a bad one.
#include "Manifest.hpp"

#include <cppmicroservices/Constants.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

using namespace cppmicroservices;
using namespace cppmicroservices::detail;
using testing::HasSubstr;

namespace {

Manifest read(std::string const& text) {
    auto headers = parseHeaders(text);
    auto name = nameIn(headers);
    return interpretHeaders(std::move(name), "here", std::move(headers));
}

std::string refusal(std::string const& text) {
    try {
        read(text);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "accepted";
}

} // namespace

TEST(Manifest, SaysNameVersionAndActivator) {
    auto const manifest =
        read(R"({"bundle.symbolic_name": "x", "bundle.version": "1.2", "bundle.activator": true})");
    EXPECT_EQ(manifest.symbolicName, "x");
    EXPECT_EQ(manifest.version, BundleVersion(1, 2, 0));
    EXPECT_TRUE(manifest.hasActivator);
    EXPECT_FALSE(read(R"({"bundle.symbolic_name": "x"})").hasActivator);
    EXPECT_FALSE(read(R"({"bundle.symbolic_name": "x", "bundle.activator": false})").hasActivator);
    EXPECT_FALSE(read(R"({"bundle.symbolic_name": "x", "bundle.activator": "true"})").hasActivator);
}

TEST(Manifest, WithoutNameIsRefused) {
    for (auto const* text : {"{}", R"({"bundle.symbolic_name": ""})", R"({"bundle.symbolic_name": 1})"}) {
        EXPECT_EQ(refusal(text), "its manifest has no \"bundle.symbolic_name\"");
    }
}

TEST(Manifest, ThatIsNoJsonObjectIsRefusedWithThePlace) {
    EXPECT_THAT(refusal("{\"x\": }"), HasSubstr("column 7"));
    EXPECT_THAT(refusal(""), HasSubstr("its manifest is no JSON"));
    EXPECT_EQ(refusal("[]"), "its manifest is no JSON object");
}

TEST(Manifest, WithAKeyTwiceInOneObjectIsRefused) {
    auto const withHeader = [](std::string const& header) {
        return R"({"bundle.symbolic_name": "x", "key": 1, )" + header + "}";
    };
    EXPECT_EQ(refusal(withHeader(R"("key": 1)")), "its manifest has the key \"key\" twice in one object");
    EXPECT_EQ(refusal(withHeader(R"("map": {"a": 1, "a": 2})")),
              "its manifest has the key \"a\" twice in one object");
    EXPECT_EQ(refusal(withHeader(R"("map": {"key": 1}, "list": [{"key": 1}, {"key": 2}])")), "accepted");
}

TEST(Manifest, OfKeysThatDifferInCaseOnlyTheFirstCounts) {
    auto const headers = parseHeaders(R"({"key": "first", "KEY": "second"})");
    ASSERT_EQ(headers.size(), 1U);
    EXPECT_EQ(headers.begin()->first, "key");
    EXPECT_EQ(headers.begin()->second, std::string("first"));
}

TEST(Manifest, MayBeNestedSixtyFourLevelsDeepAndNoDeeper) {
    auto const nested = [](std::string const& open, std::string const& close, int levels) {
        std::string text = R"({"bundle.symbolic_name": "x", "x": )";
        for (int level = 1; level < levels; ++level) {
            text += open;
        }
        text += open.substr(0, 1);
        for (int level = 0; level < levels; ++level) {
            text += close;
        }
        return text + "}";
    };
    auto const lists = [&](int levels) { return nested("[", "]", levels); };
    auto const maps = [&](int levels) { return nested(R"({"x": )", "}", levels); };
    EXPECT_EQ(refusal(lists(64)), "accepted");
    EXPECT_EQ(refusal(maps(64)), "accepted");
    auto const full = lists(64);
    EXPECT_EQ(refusal(std::string(full).insert(full.find(']'), "5")), "accepted");
    for (int const levels : {65, 100000}) {
        EXPECT_EQ(refusal(lists(levels)), "the manifest is nested too deeply") << levels;
        EXPECT_EQ(refusal(maps(levels)), "the manifest is nested too deeply") << levels;
    }
}
