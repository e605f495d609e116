// Discovery through a runtime directory.
#include <fstream>
#include <optional>
#include <stdexcept>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "agent/spf/bundles/discovery/Announcement.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectory.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectoryDiscovery.hpp"

namespace {

using namespace agent::spf::bundles::discovery;
using bundles_test::Record;
using bundles_test::TemporaryDirectory;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

// The ID of a process that has been and is no more.
pid_t deadProcess() {
    auto const pid = ::fork();
    if (pid == 0) {
        ::_exit(0);
    }
    ::waitpid(pid, nullptr, 0);
    return pid;
}

class Discovery : public testing::Test {
protected:
    // Looks out for a name; what it is told arrives in `told_`, "-" for nothing.
    std::unique_ptr<agent::spf::bundles::DiscoveryService::Handle> lookOut(std::string const& name) {
        return discovery_.resolve(
            name, [told = told_](auto const& endpoint) { told->add(endpoint.value_or("-")); });
    }

    void write(std::string const& file, std::string const& text) {
        std::filesystem::create_directory(path_);
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
        std::ofstream(path_ / file) << text;
    }

    TemporaryDirectory directory_;
    std::filesystem::path const path_ = directory_.path() / "runtime";
    std::shared_ptr<Record<std::string>> const told_ = std::make_shared<Record<std::string>>();
    RuntimeDirectoryDiscovery discovery_{path_};
};

TEST_F(Discovery, FindsWhatIsAnnounced) {
    auto const announcement = discovery_.announce("name", "unix:/a");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("unix:/a"));
}

TEST_F(Discovery, FindsWhatIsAnnouncedLater) {
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("-"));

    auto const announcement = discovery_.announce("name", "unix:/a");

    EXPECT_TRUE(told_->waitFor("unix:/a"));
}

TEST_F(Discovery, SeesAnAnnouncementEnd) {
    auto announcement = discovery_.announce("name", "unix:/a");
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("unix:/a"));

    announcement.reset();

    EXPECT_TRUE(told_->waitFor("-"));
}

TEST_F(Discovery, StaysWithWhatItFoundWhileThatIsAnnounced) {
    auto first = discovery_.announce("name", "unix:/a");
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("unix:/a"));

    auto const second = discovery_.announce("name", "unix:/b");
    first.reset();

    EXPECT_TRUE(told_->waitFor("unix:/b"));
    EXPECT_EQ(told_->values(), (std::vector<std::string>{"unix:/a", "unix:/b"}));
}

TEST_F(Discovery, NamesAreWholeAndMayHoldAnyCharacter) {
    auto const other = discovery_.announce("../na/me.x", "unix:/other");
    auto const announcement = discovery_.announce("../na/me", "unix:/a");

    auto const handle = lookOut("../na/me");

    EXPECT_TRUE(told_->waitFor("unix:/a"));
    EXPECT_FALSE(std::filesystem::exists(directory_.path() / "na"));
}

TEST_F(Discovery, DeadProcessesAreIgnoredAndTheirFilesRemoved) {
    write("a.json", R"({"name":"name","endpoint":"unix:/dead","pid":)" + std::to_string(deadProcess()) + "}");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
    EXPECT_FALSE(std::filesystem::exists(path_ / "a.json"));
}

TEST_F(Discovery, AProcessThatGotTheIDOfADeadOneIsNotTheAnnouncer) {
    write("a.json", R"({"name":"name","endpoint":"unix:/dead","startTime":1,"pid":)" +
                        std::to_string(::getpid()) + "}");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
}

TEST_F(Discovery, FilesThatAreNoAnnouncementsArePassedOver) {
    write("a.json", "{");
    write("b.json", R"({"name":7,"endpoint":"unix:/b","pid":1})");
    write("c.json", R"({"name":"name","endpoint":"unix:/c","pid":-1})");
    write("d.txt", R"({"name":"name","endpoint":"unix:/d","pid":1})");
    write("e.json", R"({"name":"name","endpoint":"unix:/e","pid":)" + std::to_string(::getpid()) + "}");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("unix:/e"));
}

TEST_F(Discovery, NoCallbackRunsAfterTheHandleIsGone) {
    auto handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("-"));
    auto const other = std::make_shared<Record<std::string>>();
    auto const witness =
        discovery_.resolve("name", [other](auto const& endpoint) { other->add(endpoint.value_or("-")); });

    handle.reset();
    auto const announcement = discovery_.announce("name", "unix:/a");

    ASSERT_TRUE(other->waitFor("unix:/a"));
    EXPECT_EQ(told_->values(), std::vector<std::string>{"-"});
}

TEST_F(Discovery, AHandleMayEndInItsOwnCallback) {
    std::unique_ptr<agent::spf::bundles::DiscoveryService::Handle> handle;
    std::mutex mutex; // guards handle
    std::unique_lock lock(mutex);
    handle = discovery_.resolve("name", [&, told = told_](auto const&) {
        {
            std::lock_guard inner(mutex);
            handle.reset();
        }
        told->add("ended");
    });
    lock.unlock();

    EXPECT_TRUE(told_->waitFor("ended"));
}

TEST_F(Discovery, AnnouncementsAndTheirDirectoryAreTheUsersAlone) {
    auto const announcement = discovery_.announce("name", "unix:/a");

    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(path_).permissions(), perms::owner_all);
    for (auto const& file : std::filesystem::directory_iterator(path_)) {
        EXPECT_EQ(file.status().permissions(), perms::owner_read | perms::owner_write) << file.path();
    }
}

TEST_F(Discovery, ADirectoryInWhichOthersMayWriteIsRefused) {
    write("a.json", "{}");
    std::filesystem::permissions(path_, std::filesystem::perms::all);

    EXPECT_THAT([&] { discovery_.announce("name", "unix:/a"); },
                ThrowsMessage<std::runtime_error>(AllOf(HasSubstr(path_.string()), HasSubstr("may write"))));
    EXPECT_THAT([&] { lookOut("name"); }, ThrowsMessage<std::runtime_error>(HasSubstr(path_.string())));
}

TEST_F(Discovery, PrivateEndpointsAreAllDifferent) {
    EXPECT_NE(discovery_.privateEndpoint("name"), discovery_.privateEndpoint("name"));
    EXPECT_THAT(discovery_.privateEndpoint("name"), testing::StartsWith("unix:" + path_.string() + "/name."));
}

TEST(RuntimeDirectory, ThePropertyNamesIt) {
    EXPECT_EQ(runtimeDirectory(cppmicroservices::Any(std::string("/here"))), "/here");
}

} // namespace
