// What is written of a change by those that write lines.
#include <chrono>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "progress/LineReporters.hpp"

namespace {

using namespace agent::program;
using namespace std::chrono_literals;
using testing::EndsWith;

// What a reporter writes on standard error about a failure of this text.
template <typename SomeReporter>
std::string written(std::string const& text, Details details = {}) {
    SomeReporter reporter;
    testing::internal::CaptureStderr();
    reporter.changed({Change::Kind::Failure, "failure", text, std::move(details)},
                     Board(ConfigurationFile{"id", {}, {}}));
    return testing::internal::GetCapturedStderr();
}

TEST(LineReporters, ThoseForPeopleWriteNoControlCharacters) {
    EXPECT_THAT(written<PlainReporter>("a\x1b[2J\nb"), EndsWith("] a\\x1b[2J\\x0ab\n"));
    EXPECT_EQ(written<QuietReporter>("a\x1b[2J\nb"), "spf-agent: a\\x1b[2J\\x0ab\n");
}

TEST(LineReporters, TextThatIsNotUtf8IsStillJson) {
    auto const object = nlohmann::json::parse(written<JsonReporter>("a\xff", {{"reason", "a\xff"}}));

    EXPECT_EQ(object.at("text"), "a\xef\xbf\xbd");
    EXPECT_EQ(object.at("reason"), "a\xef\xbf\xbd");
}

TEST(LineReporters, DetailsAreJsonTextsAndNumbersInTheirOrder) {
    EXPECT_THAT(written<JsonReporter>("a", {{"reason", "b"}, {"changes", 2}, {"cause", ""}}),
                EndsWith(R"("event":"failure","reason":"b","changes":2,"cause":"","text":"a"})"
                         "\n"));
}

// What the heartbeat says of a board with a publisher that has an endpoint to bind to.
class Heartbeat : public testing::Test {
protected:
    std::string says() {
        PlainReporter reporter{0s};
        testing::internal::CaptureStderr();
        reporter.timePassed(board, true);
        return testing::internal::GetCapturedStderr();
    }
    void bound() { board.apply({"p", "unix:a", EndpointRole::Bind, EndpointState::Bound, "", 1}); }

    Board board{ConfigurationFile{"id", {}, {{"p", "rpcservicepublisher", {}, {"unix:a"}, "", ""}}, {}}};
};

TEST_F(Heartbeat, NamesEndpointsAndServices) {
    EXPECT_THAT(says(),
                EndsWith("still waiting: p unix:a is binding; the services of p are not published\n"));
}

TEST_F(Heartbeat, NamesOnlyWhatIsMissing) {
    bound();

    EXPECT_THAT(says(), EndsWith("still waiting: the services of p are not published\n"));
}

TEST_F(Heartbeat, NamesThePeersWhenAllOfTheConfigurationIsThere) {
    bound();
    board.apply(ServicesPublished{"p", 1});

    EXPECT_THAT(says(), EndsWith("still waiting: interfaces of peers\n"));
}

} // namespace
