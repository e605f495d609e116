// What is written of a change by those that write lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "progress/LineReporters.hpp"

namespace {

using namespace agent::program;
using testing::EndsWith;

// What a reporter writes on standard error about a failure of this text.
template <typename SomeReporter>
std::string written(std::string const& text) {
    SomeReporter reporter;
    testing::internal::CaptureStderr();
    reporter.changed({Change::Kind::Failure, "failure", text, {{"reason", text}}},
                     Board(ConfigurationFile{"id", {}, {}}));
    return testing::internal::GetCapturedStderr();
}

TEST(LineReporters, ThoseForPeopleWriteNoControlCharacters) {
    EXPECT_THAT(written<PlainReporter>("a\x1b[2J\nb"), EndsWith("] a\\x1b[2J\\x0ab\n"));
    EXPECT_EQ(written<QuietReporter>("a\x1b[2J\nb"), "spf-agent: a\\x1b[2J\\x0ab\n");
}

TEST(LineReporters, TextThatIsNotUtf8IsStillJson) {
    auto const object = nlohmann::json::parse(written<JsonReporter>("a\xff"));

    EXPECT_EQ(object.at("text"), "a\xef\xbf\xbd");
    EXPECT_EQ(object.at("reason"), "a\xef\xbf\xbd");
}

} // namespace
