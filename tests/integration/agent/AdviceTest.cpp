// What a person is told to try next.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "progress/advice.hpp"

namespace {

using namespace agent::program;
using testing::HasSubstr;

TEST(Advice, DependsOnTheReasonAndOnWhatTheEndpointIsFor) {
    EXPECT_THAT(adviceFor(EndpointRole::Connect, "No such file or directory"), HasSubstr("start the agent"));
    EXPECT_THAT(adviceFor(EndpointRole::Bind, "No such file or directory"),
                HasSubstr("create the directory"));
    EXPECT_THAT(adviceFor(EndpointRole::Bind,
                          "cannot read the bundle directory '/nowhere': No such file or directory"),
                HasSubstr("--root"));
    EXPECT_THAT(adviceFor(EndpointRole::Connect, "Connection refused"), HasSubstr("nobody listens"));
    EXPECT_THAT(adviceFor(EndpointRole::Bind, "Address already in use"), HasSubstr("ss -ltnp"));
    EXPECT_THAT(adviceFor(EndpointRole::Connect, "no such host \"x\" (Host not found)"),
                HasSubstr("host's name"));
}

TEST(Advice, OfALimitGoesBeforeThatOfWhatItKeptFromWorking) {
    EXPECT_THAT(adviceForFailure("cannot read the bundle directory '/there': Too many open files"),
                HasSubstr("ulimit -n"));
    EXPECT_THAT(adviceForFailure("Resource temporarily unavailable"), HasSubstr("ulimit -u"));
    EXPECT_THAT(adviceFor(EndpointRole::Connect, "Resource temporarily unavailable"),
                HasSubstr("the agent that listens there"));
}

TEST(Advice, OfTheRuntimeDirectoryGoesBeforeThatOfEndpoints) {
    EXPECT_THAT(adviceForFailure("cannot connect to n: runtime directory /n/spf: No such file or directory"),
                HasSubstr("--runtime-directory"));
}

TEST(Advice, AnEndpointToConnectToAlwaysHasOne) {
    EXPECT_THAT(adviceFor(EndpointRole::Connect, ""), HasSubstr("the other agent"));
    EXPECT_EQ(adviceFor(EndpointRole::Bind, ""), "");
}

TEST(Advice, OfAFailureGoesByItsWords) {
    EXPECT_THAT(adviceForFailure("cannot bind to tcp:h:1: Address already in use"), HasSubstr("ss -ltnp"));
    EXPECT_THAT(adviceForFailure("cannot connect to x: no such host"), HasSubstr("host's name"));
    EXPECT_THAT(adviceForFailure("cannot connect to unix:x: No such file or directory"),
                HasSubstr("start the agent"));
    EXPECT_THAT(adviceForFailure("cannot bind unix:x/y: No such file or directory"),
                HasSubstr("create the directory"));
    EXPECT_EQ(adviceForFailure("something else"), "");
}

} // namespace
