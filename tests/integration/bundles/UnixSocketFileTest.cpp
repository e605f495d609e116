// The files of unix sockets: made, replaced and removed among processes that do the same.
#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "EndpointRecorder.hpp"
#include "RawSocket.hpp"
#include "SystemCalls.hpp"
#include "agent/spf/bundles/common/FileDescriptor.hpp"
#include "agent/spf/bundles/sockets/SocketProvider.hpp"

namespace {

using namespace bundles_test;
using agent::spf::bundles::Endpoint;
using agent::spf::bundles::FileDescriptor;
using agent::spf::bundles::sockets::SocketProvider;

// How often the watch has seen the file of this name change.
int changesOf(std::string const& name, FileDescriptor const& watch) {
    alignas(inotify_event) std::array<char, 4096> events{};
    auto const size = ::read(watch.get(), events.data(), events.size());
    int changes = 0;
    for (std::ptrdiff_t at = 0; at < size;) {
        auto const* const event = reinterpret_cast<inotify_event const*>(events.data() + at);
        changes += event->name == name ? 1 : 0;
        at += static_cast<std::ptrdiff_t>(sizeof(inotify_event) + event->len);
    }
    return changes;
}

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

    std::filesystem::path lockPath() const { return directory_.path() / "s.lock"; }

    // As another process does that makes the same socket.
    FileDescriptor lock() const {
        FileDescriptor file(::open(lockPath().c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
        EXPECT_EQ(::flock(file.get(), LOCK_EX), 0);
        return file;
    }

    std::string lockedByAnother() const {
        return "failed: cannot bind " + endpoint() + ": " + lockPath().string() +
               " is locked by another process";
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
    EXPECT_EQ(changesOf("s", watch), 1) << "more happened than its creation";
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
    auto turn = lock();
    RawListener starting(path(), RawListener::NotYet{});
    int attempts = 0;
    BeforeFlock const starts([&] {
        if (++attempts == 2) {
            starting.listen();
            turn = FileDescriptor();
        }
        return 0;
    });

    EXPECT_EQ(bindAndReport(), "failed: cannot bind " + endpoint() +
                                   ": Address already in use (a running process listens there)");
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

TEST_F(UnixSocketFile, ALockThatIsNotGivenUpIsAFailureThatNamesIt) {
    auto const turn = lock();

    EXPECT_EQ(bindAndReport(), lockedByAnother());
}

TEST_F(UnixSocketFile, OfWhichTheLockIsNotGivenUpHoldsUpNoOther) {
    auto const turn = lock();
    std::promise<void> bothBegun;
    BeforeFlock const waiting([begun = bothBegun.get_future().share()] {
        begun.wait();
        return 0;
    });
    auto const other = "unix:" + (directory_.path() / "other").string();

    bound_ = provider_.bind(endpoint(), recorder_);
    auto const otherBound = provider_.bind(other, recorder_);
    bothBegun.set_value();

    recorder_->reports.waitUntil([](auto const& reports) { return reports.size() == 2; });
    EXPECT_THAT(recorder_->reports.values(), testing::ElementsAre("bound " + other, lockedByAnother()));
}

TEST_F(UnixSocketFile, ALockThatHasGoneWithItsFileIsTakenOnceMore) {
    int attempts = 0;
    BeforeFlock const removing([&] {
        if (++attempts == 1) {
            std::filesystem::remove(lockPath());
        }
        return 0;
    });

    EXPECT_EQ(bindAndReport(), "bound " + endpoint());
    EXPECT_EQ(attempts, 2);
}

TEST_F(UnixSocketFile, IsMadeWhoeverLocksItsDirectory) {
    FileDescriptor const directory(::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(::flock(directory.get(), LOCK_EX), 0);

    EXPECT_EQ(bindAndReport(), "bound " + endpoint());
}

TEST_F(UnixSocketFile, ALinkInThePlaceOfTheLockIsNotFollowed) {
    auto const elsewhere = directory_.path() / "elsewhere";
    std::filesystem::create_symlink(elsewhere, lockPath());

    EXPECT_THAT(bindAndReport(), testing::StartsWith("failed: cannot bind " + endpoint() + ": cannot open "));

    EXPECT_FALSE(std::filesystem::exists(elsewhere));
}

TEST_F(UnixSocketFile, NoFileButOneOfThisUserIsLocked) {
    ASSERT_EQ(::mkfifo(lockPath().c_str(), S_IRUSR | S_IWUSR), 0);
    auto const notOfThisUser =
        "failed: cannot bind " + endpoint() + ": " + lockPath().string() + " is not a file of this user";
    EXPECT_EQ(bindAndReport(), notOfThisUser);

    if (::geteuid() == 0) { // as whom alone one can make a file of somebody else and open it
        std::filesystem::remove(lockPath());
        lock();
        ASSERT_EQ(::chown(lockPath().c_str(), 65534, 65534), 0);
        auto const second = std::make_shared<EndpointRecorder>();
        auto const bound = provider_.bind(endpoint(), second);
        EXPECT_TRUE(second->reports.waitFor(notOfThisUser));
    }
}

TEST_F(UnixSocketFile, InAWorkingDirectoryThatHasGoneIsAFailureThatNamesThat) {
    auto const gone = directory_.path() / "gone";
    auto const before = std::filesystem::current_path();
    std::filesystem::create_directory(gone);
    std::filesystem::current_path(gone);
    std::filesystem::remove(gone);

    bound_ = provider_.bind("unix:s", recorder_);

    EXPECT_TRUE(recorder_->reports.waitFor(
        "failed: cannot bind unix:s: working directory: No such file or directory"));
    std::filesystem::current_path(before);
}

TEST_F(UnixSocketFile, IsMadeWithNothingLeftBesideIt) {
    bindAndReport();

    using Files = std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(Files(directory_.path()), Files()), 1);
}

TEST_F(UnixSocketFile, IsRemovedEvenIfItsPathIsLocked) {
    bindAndReport();
    auto const turn = lock();

    bound_->close();

    EXPECT_FALSE(std::filesystem::exists(path()));
}

} // namespace
