// Discovery through a runtime directory.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <future>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "ChildProcess.hpp"
#include "SystemCalls.hpp"
#include "Unprivileged.hpp"
#include "agent/spf/bundles/common/FileDescriptor.hpp"
#include "agent/spf/bundles/discovery/Announcement.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectory.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectoryDiscovery.hpp"

namespace {

using namespace agent::spf::bundles::discovery;
using agent::spf::bundles::FileDescriptor;
using bundles_test::ChildProcess;
using bundles_test::Record;
using bundles_test::TemporaryDirectory;
using bundles_test::WithoutOpening;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;

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

    static std::vector<std::filesystem::path> filesIn(std::filesystem::path const& directory) {
        return {std::filesystem::directory_iterator(directory), {}};
    }

    std::filesystem::path onlyFile() const {
        auto const files = filesIn(path_);
        EXPECT_EQ(files.size(), 1U);
        return files.front();
    }

    // Returns when the directory has been looked at, and no more is announced than before.
    void lookAgain() {
        auto const handle = lookOut("witness");
        ASSERT_TRUE(told_->waitFor("-"));
        auto const witness = discovery_.announce("witness", "unix:/witness");
        ASSERT_TRUE(told_->waitFor("unix:/witness"));
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
    std::filesystem::create_directory(path_);
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    AnnouncementFile first(path_ / "b.json", {"name", "unix:/first"});
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("unix:/first"));

    AnnouncementFile const second(path_ / "a.json",
                                  {"name", "unix:/second"}); // of the two the first to be read
    lookAgain();
    EXPECT_THAT(told_->values(), Not(Contains("unix:/second")));
    first.withdraw();

    EXPECT_TRUE(told_->waitFor("unix:/second"));
}

TEST_F(Discovery, OfSeveralThatAnnounceANameTheFirstCounts) {
    std::filesystem::create_directory(path_);
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    AnnouncementFile const second(path_ / "b.json", {"name", "unix:/second"});
    AnnouncementFile const first(path_ / "a.json", {"name", "unix:/first"});

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitUntil([](auto const& told) { return !told.empty(); }));
    EXPECT_EQ(told_->values().front(), "unix:/first");
}

TEST_F(Discovery, AnAnnouncementOfMoreThan64KiBIsPassedOver) {
    auto const announcement = discovery_.announce("name", "unix:/" + std::string(65536, 'x'));

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
}

TEST_F(Discovery, NamesAreWholeAndMayHoldAnyCharacter) {
    auto const other = discovery_.announce("../na/me.x", "unix:/other");
    auto const announcement = discovery_.announce("../na/me", "unix:/a");

    auto const handle = lookOut("../na/me");

    EXPECT_TRUE(told_->waitFor("unix:/a"));
    EXPECT_FALSE(std::filesystem::exists(directory_.path() / "na"));
}

TEST(EscapeForFileName, LeavesLettersDigitsHyphensAndUnderscoresOnly) {
    EXPECT_EQ(escapeForFileName("aZ09-_./ \xc3\xbc"), "aZ09-_%2E%2F%20%C3%BC");
}

TEST_F(Discovery, WhatADeadProcessLeftIsIgnoredAndRemovedWithItsSocket) {
    auto const socket = path_ / "name.1.2.sock";
    write("a.json", R"({"name":"name","endpoint":"unix:)" + socket.string() + R"("})");
    write(socket.filename(), "");
    write(socket.filename().string() + ".lock", ""); // killed as it made the socket

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
    EXPECT_THAT(filesIn(path_), IsEmpty());
}

TEST_F(Discovery, AnAnnouncementThatADeadProcessHasNotFinishedIsRemoved) {
    write("a.json.unfinished", "");
    write("b.json.unfinished", R"({"name":"name","endpoint":"unix:/b"})");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
    EXPECT_THAT(filesIn(path_), IsEmpty());
}

TEST_F(Discovery, AnAnnouncementThatALivingProcessHasNotFinishedIsPassedOver) {
    write("a.json.unfinished", R"({"name":"name","endpoint":"unix:/a"})");
    FileDescriptor const lock(::open((path_ / "a.json.unfinished").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
    EXPECT_EQ(onlyFile(), path_ / "a.json.unfinished");
}

TEST_F(Discovery, AnAnnouncementThatIsLookedAtBeforeItIsLockedIsMadeAllTheSame) {
    std::filesystem::create_directory(path_);
    bool isFirst = true;
    bundles_test::BeforeFlock const looking([&] {
        if (std::exchange(isFirst, false)) {
            readAnnouncements(path_);
            EXPECT_THAT(filesIn(path_), IsEmpty()) << "it was not taken for a dead process's";
        }
        return 0;
    });

    AnnouncementFile const announcement(path_ / "a.json", {"name", "unix:/a"});

    EXPECT_THAT(readAnnouncements(path_),
                testing::ElementsAre(testing::Field(&Announcement::endpoint, "unix:/a")));
}

TEST_F(Discovery, OfADeadProcessNothingOutsideTheDirectoryIsRemoved) {
    auto const outside = directory_.path() / "outside.sock";
    std::ofstream(outside) << "";
    write("a.json", R"({"name":"name","endpoint":"unix:)" + outside.string() + R"("})");
    write("b.json", R"({"name":"name","endpoint":"unix:)" + (path_ / "../outside.sock").string() + R"("})");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
    EXPECT_TRUE(std::filesystem::exists(outside));
}

TEST_F(Discovery, OfADeadProcessNothingButSocketsIsRemoved) {
    write("notes", "");
    write("a.json", R"({"name":"name","endpoint":"unix:)" + (path_ / "notes").string() + R"("})");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("-"));
    EXPECT_EQ(onlyFile(), path_ / "notes");
}

TEST_F(Discovery, AnnouncementsAreReadInTheOrderOfTheirFiles) {
    std::filesystem::create_directory(path_);
    std::vector<std::unique_ptr<AnnouncementFile>> files;
    std::vector<std::string> endpoints;
    for (char const name : std::string("hbkdafcjgei")) {
        endpoints.push_back(std::string("unix:/") + name);
        files.push_back(std::make_unique<AnnouncementFile>(path_ / (name + std::string(".json")),
                                                           Announcement{"name", endpoints.back()}));
    }

    std::vector<std::string> read;
    for (auto const& announcement : readAnnouncements(path_)) {
        read.push_back(announcement.endpoint);
    }

    std::sort(endpoints.begin(), endpoints.end());
    EXPECT_EQ(read, endpoints);
}

TEST_F(Discovery, WhatWasFoundIsNotTakenForGoneWhileTooManyFilesAreOpen) {
    auto const announcement = discovery_.announce("name", "unix:/a");
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("unix:/a"));

    using What = WithoutOpening::What;
    for (auto const what : {What::Files, What::Directories}) {
        WithoutOpening const tooMany(what);
        write("other", "");
        tooMany.waitForAttempts(2); // the look of the first is over
    }

    lookAgain();
    EXPECT_EQ(told_->values(), (std::vector<std::string>{"unix:/a", "-", "unix:/witness"}));
}

TEST_F(Discovery, AnAnnouncerThatIsKilledIsNoticed) {
    ChildProcess announcer({BUNDLES_TEST_ANNOUNCER, path_.string(), "name", "unix:/a"});
    ASSERT_EQ(announcer.firstLine(), "announced");
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("unix:/a"));

    announcer.kill();

    EXPECT_TRUE(told_->waitFor("-"));
    EXPECT_THAT(filesIn(path_), IsEmpty());
}

TEST_F(Discovery, AnAnnouncementWhoseFileIsDeletedComesBackWhileItsProcessLives) {
    ChildProcess const announcer({BUNDLES_TEST_ANNOUNCER, path_.string(), "name", "unix:/a"});
    ASSERT_EQ(announcer.firstLine(), "announced");

    std::filesystem::remove(onlyFile());

    auto const handle = lookOut("name");
    EXPECT_TRUE(told_->waitFor("unix:/a"));
}

TEST_F(Discovery, AnAnnouncementWhoseDirectoryIsDeletedComesBackWhileItsProcessLives) {
    auto const announcement = discovery_.announce("name", "unix:/a");
    auto const old = directory_.path() / "old";
    std::filesystem::rename(path_, old);
    std::filesystem::remove_all(old);

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("unix:/a"));
}

TEST_F(Discovery, AnAnnouncementWhoseFileIsMovedStaysWhereItIs) {
    auto const announcement = discovery_.announce("name", "unix:/a");
    auto const moved = path_ / "moved.json";
    std::filesystem::rename(onlyFile(), moved);

    lookAgain();

    EXPECT_EQ(onlyFile(), moved);
    auto const handle = lookOut("name");
    EXPECT_TRUE(told_->waitFor("unix:/a"));
}

TEST_F(Discovery, AnAnnouncementThatHasEndedDoesNotComeBack) {
    auto announcement = discovery_.announce("name", "unix:/a");
    std::filesystem::remove(onlyFile());
    announcement.reset();

    lookAgain();

    EXPECT_THAT(filesIn(path_), IsEmpty());
}

TEST_F(Discovery, AnAnnouncerWhoseLockEndsAfterItsFileIsClosedIsNoticed) {
    write("a.json", R"({"name":"name","endpoint":"unix:/a"})");
    FileDescriptor lock(::open((path_ / "a.json").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("unix:/a"));

    std::ofstream(path_ / "a.json", std::ios::app).close(); // what the system tells of
    auto const other = discovery_.announce("other", "unix:/b");
    auto const witness = discovery_.resolve(
        "other", [told = told_](auto const& endpoint) { told->add("other " + endpoint.value_or("-")); });
    ASSERT_TRUE(told_->waitFor("other unix:/b"));
    lock = FileDescriptor(); // what the system does not tell of

    EXPECT_TRUE(told_->waitFor("-"));
}

TEST_F(Discovery, ADirectoryThatTakesThePlaceOfTheWatchedOneIsWatched) {
    auto const handle = lookOut("name");
    ASSERT_TRUE(told_->waitFor("-"));
    std::filesystem::rename(path_, directory_.path() / "moved");

    RuntimeDirectoryDiscovery another(path_);
    auto const announcement = another.announce("name", "unix:/a");

    EXPECT_TRUE(told_->waitFor("unix:/a"));
}

TEST_F(Discovery, FilesThatAreNoAnnouncementsArePassedOver) {
    write("a.json", "{");
    write("b.json", R"({"name":7,"endpoint":"unix:/b"})");
    write("c.txt", R"({"name":"name","endpoint":"unix:/c"})");
    std::filesystem::create_directory(path_ / "d.json");
    ASSERT_EQ(::mkfifo((path_ / "e.json").c_str(), S_IRUSR | S_IWUSR), 0);
    std::filesystem::create_symlink("/dev/zero", path_ / "f.json");
    auto const announcement = discovery_.announce("name", "unix:/g");

    auto const handle = lookOut("name");

    EXPECT_TRUE(told_->waitFor("unix:/g"));
    EXPECT_EQ(filesIn(path_).size(), 7U) << "files of others were removed";
}

// Look-outs that begin in a callback, on the service's thread, are all there when the first of their looks
// comes.
TEST_F(Discovery, ALookOutIsToldItsFirstResultOnceWhoeverLooksFirst) {
    std::vector<std::unique_ptr<agent::spf::bundles::DiscoveryService::Handle>> inner;
    auto const outer = discovery_.resolve("outer", [&](auto const&) {
        inner.push_back(lookOut("name"));
        inner.push_back(lookOut("name"));
    });
    ASSERT_TRUE(told_->waitFor("-", 2));

    auto const witness = discovery_.resolve("outer", [told = told_](auto const&) { told->add("witness"); });

    ASSERT_TRUE(told_->waitFor("witness"));
    EXPECT_THAT(told_->values(), testing::ElementsAre("-", "-", "witness"));
}

// A look reads every file, and tries the lock of each.
TEST_F(Discovery, ManyNamesThatAreLookedForTogetherTakeFewLooks) {
    constexpr int count = 300;
    std::vector<std::unique_ptr<agent::spf::bundles::DiscoveryService::Handle>> handles;
    for (int i = 0; i < count; ++i) {
        handles.push_back(discovery_.announce(std::to_string(i), "unix:/" + std::to_string(i)));
    }
    std::atomic<int> locksTried{0};
    {
        bundles_test::BeforeFlock const counting([&] {
            ++locksTried;
            return 0;
        });
        for (int i = 0; i < count; ++i) {
            handles.push_back(lookOut(std::to_string(i)));
        }
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(told_->waitFor("unix:/" + std::to_string(i)));
        }
    }
    EXPECT_LT(locksTried, count * count / 2);
}

TEST_F(Discovery, AnAnnouncementThatTakesThePlaceOfADeadOneWhileThatIsLookedAtIsNotRemoved) {
    write("a.json", R"({"name":"name","endpoint":"unix:/dead"})");
    write("b", R"({"name":"name","endpoint":"unix:/alive"})");
    FileDescriptor const lock(::open((path_ / "b").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
    {
        bundles_test::BeforeFlock const replacing([this] {
            std::filesystem::rename(path_ / "b", path_ / "a.json");
            return 0;
        });

        EXPECT_THAT(readAnnouncements(path_), IsEmpty());
    }

    EXPECT_THAT(readAnnouncements(path_),
                testing::ElementsAre(testing::Field(&Announcement::endpoint, "unix:/alive")));
}

TEST_F(Discovery, AnAnnouncementOfWhichNobodyCanSayWhetherItsProcessLivesIsLeftAlone) {
    write("a.json", R"({"name":"name","endpoint":"unix:/a"})");
    bundles_test::BeforeFlock const failing([] { return ENOLCK; });

    EXPECT_THAT(readAnnouncements(path_), IsEmpty());

    EXPECT_THAT(filesIn(path_), testing::ElementsAre(path_ / "a.json"));
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

TEST_F(Discovery, StoppingEndsWhateverOthersAskForMeanwhile) {
    std::atomic<bool> stopped{false};
    Record<int> begun;
    std::vector<std::future<void>> others;
    for (int i = 0; i < 8; ++i) {
        others.push_back(std::async(std::launch::async, [&] {
            while (!stopped) {
                lookOut("name");
                begun.add(0);
            }
        }));
    }
    ASSERT_TRUE(begun.waitFor(0, 100));

    auto end = std::async(std::launch::async, [&] { discovery_.stop(); });
    auto const isOver = end.wait_for(bundles_test::patience) == std::future_status::ready;

    stopped = true;
    EXPECT_TRUE(isOver);
    write("change", ""); // wakes a watch that has been left behind
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
    EXPECT_THAT([&] { discovery_.privateEndpoint("name"); },
                ThrowsMessage<std::runtime_error>(HasSubstr(path_.string())));
}

TEST_F(Discovery, ADirectoryOfAnotherUserIsRefused) {
    bundles_test::Unprivileged const user;

    EXPECT_THAT([] { prepareRuntimeDirectory("/usr"); }, // root's
                ThrowsMessage<std::runtime_error>(HasSubstr("it belongs to another user")));
}

TEST_F(Discovery, TheDirectoriesAboveItsOwnAreMade) {
    prepareRuntimeDirectory(directory_.path() / "a/b/runtime");

    EXPECT_TRUE(std::filesystem::is_directory(directory_.path() / "a/b/runtime"));
}

TEST_F(Discovery, PrivateEndpointsAreAllDifferent) {
    EXPECT_NE(discovery_.privateEndpoint("name"), discovery_.privateEndpoint("name"));
    EXPECT_THAT(discovery_.privateEndpoint("name"), testing::StartsWith("unix:" + path_.string() + "/name."));
}

TEST_F(Discovery, AnAnnouncementThatCannotBeWrittenNamesItsFile) {
    auto const longName = std::string(300, 'x'); // longer than a file's name may be

    EXPECT_THAT([&] { discovery_.announce(longName, "unix:/a"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("announcement " + (path_ / longName).string())));
}

TEST_F(Discovery, AnAnnouncementThatCannotBeFinishedLeavesNothing) {
    std::filesystem::create_directories(path_ / "a.json"); // in the place of the announcement

    EXPECT_THROW(AnnouncementFile(path_ / "a.json", {"name", "unix:/a"}), std::runtime_error);

    EXPECT_EQ(onlyFile(), path_ / "a.json");
}

TEST(RuntimeDirectory, IsAbsolute) {
    EXPECT_EQ(runtimeDirectory(cppmicroservices::Any(std::string("here"))),
              std::filesystem::current_path() / "here");
}

TEST(RuntimeDirectory, IsThatOfTheUserWhoseRightsTheProcessHas) {
    ::unsetenv("XDG_RUNTIME_DIR");
    bundles_test::Unprivileged const user;

    EXPECT_EQ(runtimeDirectory({}), "/tmp/spf-" + std::to_string(::geteuid()));
}

TEST(RuntimeDirectory, OfTheEnvironmentCountsWhenItIsAbsolute) {
    ::setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
    EXPECT_EQ(runtimeDirectory({}), "/run/user/7/spf");

    ::setenv("XDG_RUNTIME_DIR", "run/user/7", 1);
    EXPECT_EQ(runtimeDirectory({}), "/tmp/spf-" + std::to_string(::geteuid()));
    ::unsetenv("XDG_RUNTIME_DIR");
}

TEST(RuntimeDirectory, ThePropertyNamesIt) {
    EXPECT_EQ(runtimeDirectory(cppmicroservices::Any(std::string("/here"))), "/here");
}

} // namespace
