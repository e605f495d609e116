// What a person is told to try next.
#include <array>
#include <string>
#include <vector>

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

TEST(Advice, OfEndpointsGoesByTheWordsOfTheSystemAndOfTheBundles) {
    for (auto const& [reason, binding, connecting] : std::vector<std::array<std::string, 3>>{
             {"Permission denied", "permissions of the socket", "permissions of the socket"},
             {"Cannot assign requested address", "an address of this machine", "the other agent binds"},
             {"no answer in 10 seconds", "", "nobody answers there"},
             {"no answer to the handshake in 5 seconds", "", "accepts and says nothing"},
             {"waits for the peer to answer the handshake", "", "accepts and says nothing"},
             {"no running process announces \"name\"", "", "the same --runtime-directory"},
             {"waits for the endpoint provider", "a bundle is missing", "a bundle is missing"},
             {"unknown scheme \"x\"", "tcp:<host>:<port>", "tcp:<host>:<port>"},
         }) {
        EXPECT_THAT(adviceFor(EndpointRole::Bind, reason), HasSubstr(binding)) << reason;
        EXPECT_EQ(adviceFor(EndpointRole::Bind, reason).empty(), binding.empty()) << reason;
        EXPECT_THAT(adviceFor(EndpointRole::Connect, reason), HasSubstr(connecting)) << reason;
    }
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
