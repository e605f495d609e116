// Publishers in a process that has too many open files for a while.
#include <optional>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/common/FileDescriptor.hpp"

namespace {

using namespace bundles_test;
using namespace testing;
using agent::spf::bundles::FileDescriptor;

// While it lives, this process can open that many files and no more.
class MoreFiles {
public:
    explicit MoreFiles(int count) {
        std::vector<FileDescriptor> lowest; // numbers that are free
        for (int i = 0; i <= count; ++i) {
            lowest.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        }
        ::getrlimit(RLIMIT_NOFILE, &before_);
        rlimit const now{static_cast<rlim_t>(lowest.back().get()), before_.rlim_max};
        if (::setrlimit(RLIMIT_NOFILE, &now) != 0) {
            throw std::runtime_error("cannot set the limit of open files");
        }
    }
    ~MoreFiles() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    MoreFiles(MoreFiles const&) = delete;
    MoreFiles& operator=(MoreFiles const&) = delete;

private:
    rlimit before_{};
};

#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
#define SANITIZER_OPENS_FILES // when it looks at an object of a class with virtual functions
#endif
#endif

class OpenFiles : public BundlesTest {
protected:
#ifdef SANITIZER_OPENS_FILES
    void SetUp() override {
        GTEST_SKIP() << "the sanitizer itself has to open files";
    }
#endif

    // Connects a socket that is open already.
    RawSocket connect(int descriptor, std::string const& name) const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socketPath(name).string().copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            throw std::runtime_error("cannot connect");
        }
        return RawSocket(descriptor);
    }
};

TEST_F(OpenFiles, WhenTooManyAreOpenPeersAndConnectionsWaitUntilThereIsRoom) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("server", ConfigurationMap().publisher("server", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    auto const descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::optional<MoreFiles> tooMany(0);

    auto peer = connect(descriptor, "a.sock");
    peer.sendFrame(R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})");
    installation_.publish("client", ConfigurationMap().publisher("client", {}, {endpoint}).build());
    ASSERT_TRUE(statuses_.waitFor("client " + endpoint + " connecting: Too many open files"));
    EXPECT_FALSE(peer.hasInput());
    tooMany.reset();

    EXPECT_THAT(peer.readFrame(), HasSubstr("hello"));
    EXPECT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Error"))));
}

TEST_F(OpenFiles, WhenTooManyAreOpenTheFirstConnectionWaitsAsLaterOnesDo) {
    auto const endpoint = socketEndpoint("a.sock");
    RawListener const server(socketPath("a.sock"));
    {
        MoreFiles const tooMany(0);
        installation_.publish("client", ConfigurationMap().publisher("client", {}, {endpoint}).build());
        ASSERT_TRUE(statuses_.waitFor("client " + endpoint + " connecting: Too many open files"));
    }
    EXPECT_THAT(server.accept().readFrame(), HasSubstr("hello"));
    EXPECT_THAT(events_.values(), ElementsAre("AllServicesPublished client 1"));
}

TEST_F(OpenFiles, APeerForWhichThereIsJustOneIsServed) {
    installation_.publish("server",
                          ConfigurationMap().publisher("server", {socketEndpoint("a.sock")}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    auto const descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    MoreFiles const one(1);

    auto peer = connect(descriptor, "a.sock");
    peer.sendFrame(R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})");

    EXPECT_THAT(peer.readFrame(), HasSubstr("hello"));
}

TEST_F(OpenFiles, WhenTooManyAreOpenAnEndpointToBindIsAnErrorThatTheNextModificationMends) {
    for (std::string const& endpoint : {socketEndpoint("a.sock"), std::string("tcp:127.0.0.1:0")}) {
        auto const publish = [&](int count) {
            installation_.publish(endpoint, ConfigurationMap(count).publisher(endpoint, {endpoint}).build());
        };
        {
            MoreFiles const tooMany(0);
            publish(1);
            EXPECT_THAT(events_.waitForFirstWith("Error " + endpoint + " 1: "),
                        AllOf(HasSubstr("cannot bind " + endpoint), HasSubstr("Too many open files")));
        }
        publish(2);
        EXPECT_TRUE(events_.waitFor("AllServicesPublished " + endpoint + " 2"));
    }
}

TEST_F(OpenFiles, WhenTooManyAreOpenANameToBindIsAnErrorThatTheNextModificationMends) {
    auto const publish = [&](int count) {
        installation_.publish("s", ConfigurationMap(count).legacyPublisher("s", {"n"}).build());
    };
    {
        MoreFiles const tooMany(0);
        publish(1);
        EXPECT_THAT(events_.waitForFirstWith("Error s 1: "),
                    AllOf(HasSubstr("cannot bind "), HasSubstr("Too many open files")));
    }
    publish(2);
    EXPECT_TRUE(events_.waitFor("AllServicesPublished s 2"));
}

TEST_F(OpenFiles, WhenTooManyAreOpenANameIsLookedForUntilThereIsRoom) {
    installation_.publish("s", ConfigurationMap().legacyPublisher("s", {"n"}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished s 1"));
    {
        MoreFiles const tooMany(0);
        installation_.publish("c", ConfigurationMap().legacyPublisher("c", {}, {"n"}).build());
        ASSERT_TRUE(events_.waitFor("AllServicesPublished c 1")); // has begun to look for the name
    }
    EXPECT_TRUE(events_.waitFor("Connected n c 1"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Error"))));
}

} // namespace
