// The files of unix sockets: made, replaced and removed among processes that do the same.
#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "EndpointRecorder.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/common/FileDescriptor.hpp"
#include "agent/spf/bundles/sockets/SocketProvider.hpp"

namespace {

using namespace bundles_test;
using agent::spf::bundles::Endpoint;
using agent::spf::bundles::FileDescriptor;
using agent::spf::bundles::sockets::SocketProvider;

class UnixSocketFile : public testing::Test {
protected:
    std::filesystem::path path() const { return directory_.path() / "s"; }
    std::string endpoint() const { return "unix:" + path().string(); }

    // The first report on the endpoint: bound or failed.
    std::string bindAndReport() {
        bound_ = provider_.bind(endpoint(), recorder_);
        recorder_->reports.waitUntil([](auto const& reports) { return !reports.empty(); });
        return recorder_->reports.values().at(0);
    }

    FileDescriptor lockDirectory() const {
        FileDescriptor lock(::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        EXPECT_EQ(::flock(lock.get(), LOCK_EX), 0);
        return lock;
    }

    TemporaryDirectory directory_;
    std::shared_ptr<EndpointRecorder> const recorder_ = std::make_shared<EndpointRecorder>();
    SocketProvider provider_;
    std::unique_ptr<Endpoint> bound_;
};

TEST_F(UnixSocketFile, HasMode0600FromTheFirstInstantWhateverTheUmask) {
    FileDescriptor const watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(::inotify_add_watch(watch.get(), directory_.path().c_str(), IN_CREATE | IN_ATTRIB), 0);
    auto const umask = ::umask(0);

    EXPECT_EQ(bindAndReport(), "bound " + endpoint());

    ::umask(umask);
    struct stat status {};
    ASSERT_EQ(::stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & ~static_cast<unsigned>(S_IFMT), 0600U);
    std::array<char, 4096> events{};
    auto const size = ::read(watch.get(), events.data(), events.size());
    EXPECT_EQ(size, static_cast<ssize_t>(sizeof(inotify_event) + 16)) << "more happened than its creation";
}

TEST_F(UnixSocketFile, OfADeadProcessIsReplaced) {
    { RawListener const dead(path()); }

    EXPECT_EQ(bindAndReport(), "bound " + endpoint());
    RawSocket const peer(path());
}

TEST_F(UnixSocketFile, OfALivingProcessIsLeftAloneEvenIfItAcceptsNobody) {
    RawListener const live(path(), 0);
    RawSocket const first(path()); // fills the queue

    EXPECT_EQ(bindAndReport(), "failed: cannot bind " + endpoint() +
                                   ": Address already in use (a running process listens there)");
    auto const peer = live.accept();
}

TEST_F(UnixSocketFile, OfAnotherKindOfSocketIsLeftAloneAndNotTakenForAListener) {
    RawListener const datagrams(path(), RawListener::Datagrams{});

    EXPECT_EQ(bindAndReport(), "failed: cannot bind " + endpoint() +
                                   ": Address already in use (cannot tell who uses it: Protocol wrong type "
                                   "for socket)");
    EXPECT_TRUE(std::filesystem::is_socket(path()));
}

TEST_F(UnixSocketFile, OfAProcessThatIsAboutToListenIsLeftAlone) {
    auto lock = lockDirectory();
    RawListener starting(path(), RawListener::NotYet{});
    bound_ = provider_.bind(endpoint(), recorder_);

    starting.listen();
    lock = FileDescriptor();

    EXPECT_TRUE(recorder_->reports.waitForOneWith("Address already in use"));
    RawSocket const peer(path());
}

TEST_F(UnixSocketFile, OfManyStartersAtADeadOneOneIsServed) {
    constexpr std::size_t starters = 4;
    for (int round = 0; round < 10; ++round) {
        { RawListener const dead(path()); }
        auto const recorder = std::make_shared<EndpointRecorder>();
        std::array<SocketProvider, starters> providers;
        std::vector<std::unique_ptr<Endpoint>> endpoints;
        for (auto& provider : providers) {
            endpoints.push_back(provider.bind(endpoint(), recorder));
        }
        ASSERT_TRUE(recorder->reports.waitUntil([](auto const& all) { return all.size() == starters; }));

        auto const reports = recorder->reports.values();
        EXPECT_EQ(std::count(reports.begin(), reports.end(), "bound " + endpoint()), 1);
        RawSocket const peer(path());
    }
}

TEST_F(UnixSocketFile, ALockOfTheDirectoryThatIsNotGivenUpIsAFailureThatNamesIt) {
    auto const lock = lockDirectory();

    EXPECT_EQ(bindAndReport(), "failed: cannot bind " + endpoint() + ": directory " +
                                   directory_.path().string() + " is locked by another process");
}

TEST_F(UnixSocketFile, IsRemovedEvenIfTheDirectoryIsLocked) {
    bindAndReport();
    auto const lock = lockDirectory();

    bound_->close();

    EXPECT_FALSE(std::filesystem::exists(path()));
}

} // namespace
