// Watches the directory, and tells those who look out for a name.
#include "agent/spf/bundles/discovery/RuntimeDirectoryDiscovery.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>

#include "agent/spf/bundles/common/FileDescriptor.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/common/persistently.hpp"
#include "agent/spf/bundles/discovery/Announcement.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectory.hpp"

namespace agent::spf::bundles::discovery {

namespace {

// A watch tells what is worth looking at, but an announcer's end a moment before the lock on its file is free
// again, and nothing of a directory that has taken the place of the watched one. So the directory is looked
// at after each change, soon and then at growing intervals. Soon, not at once: a look reads every file, and
// of thousands of names that are announced or looked for together each would take one.
constexpr std::chrono::milliseconds firstCheck{10};
constexpr std::chrono::milliseconds longestCheck{5000};

using DirectoryID = std::pair<dev_t, ino_t>;

DirectoryID directoryID(std::filesystem::path const& directory) {
    struct stat status {};
    return ::stat(directory.c_str(), &status) == 0 ? DirectoryID(status.st_dev, status.st_ino)
                                                   : DirectoryID();
}

} // namespace

// Watches the directory for all look-outs and announcements, on a thread of its own. All members but the
// worker are used on the worker only.
class RuntimeDirectoryDiscovery::Watcher {
public:
    explicit Watcher(std::filesystem::path directory)
        : directory_(std::move(directory))
        , worker_("spf-discovery")
        , changes_(worker_.context())
        , check_(worker_.context()) {}

    std::uint64_t add(std::string const& name, Resolved resolved) {
        std::uint64_t id = 0;
        worker_.run([&] {
            prepareRuntimeDirectory(directory_);
            checkSoon();
            lookOuts_.emplace(lastID_ + 1, LookOut{name, std::move(resolved)});
            id = ++lastID_;
        });
        return id;
    }

    // Restores the announcement when its file is deleted, for as long as it has an owner.
    void keep(std::weak_ptr<AnnouncementFile> announcement) {
        worker_.post([this, announcement = std::move(announcement)] {
            persistently([&] { announcements_.push_back(announcement); });
            checkSoon();
        });
    }

    void remove(std::uint64_t id) {
        worker_.run([this, id] { lookOuts_.erase(id); });
    }

    void stop() {
        worker_.run([this] {
            lookOuts_.clear();
            boost::system::error_code ignored;
            changes_.close(ignored);
            check_.cancel();
            stopped_ = true;
        });
        worker_.stop();
    }

private:
    struct LookOut {
        std::string name;
        Resolved resolved;
        bool isTold = false;                   // of anything
        std::optional<std::string> endpoint{}; // told last
    };

    using Endpoints = std::multimap<std::string, std::string>; // by name, in the order of the files

    // Watches the directory that is there now, unless it does so already.
    void watch() {
        prepareRuntimeDirectory(directory_);
        auto const directory = directoryID(directory_);
        if (changes_.is_open() && directory == watched_) {
            return;
        }
        FileDescriptor descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        auto const events = IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_DELETE;
        if (descriptor.get() < 0 || ::inotify_add_watch(descriptor.get(), directory_.c_str(), events) < 0) {
            return; // for now: the looks find what changes
        }
        boost::system::error_code ignored;
        changes_.close(ignored);
        changes_.assign(descriptor.get());
        descriptor.release();
        awaitChange();
        watched_ = directory;
        checkSoon();
    }

    // What has changed does not matter: whatever it is, the directory is read anew.
    void awaitChange() {
        persistently([this] {
            changes_.async_read_some(boost::asio::buffer(buffer_), [this](auto const& error, std::size_t) {
                if (error || stopped_) {
                    return;
                }
                awaitChange();
                checkSoon();
            });
        });
    }

    void checkSoon() {
        if (!isCheckedSoon_) {
            checkInterval_ = firstCheck;
            check();
            isCheckedSoon_ = true;
        }
    }

    void check() {
        check_.expires_after(checkInterval_);
        persistently([this] {
            check_.async_wait([this](auto const& error) {
                if (!error && !stopped_) {
                    isCheckedSoon_ = false;
                    checkInterval_ = std::min(2 * checkInterval_, longestCheck);
                    look();
                    check();
                }
            });
        });
    }

    void look() {
        tolerantly([this] { watch(); }); // another directory by now, perhaps
        restoreAnnouncements();
        tolerantly([this] { tellChanges(); });
    }

    // What a look fails to do the next one tries again.
    template <class Action>
    static void tolerantly(Action const& action) {
        try {
            action();
        } catch (std::exception const&) {
            // As when there is no directory, no memory, or too many open files.
        }
    }

    void restoreAnnouncements() {
        auto const ended = std::remove_if(announcements_.begin(), announcements_.end(),
                                          [](auto const& announcement) { return announcement.expired(); });
        announcements_.erase(ended, announcements_.end());
        for (auto const& kept : announcements_) {
            tolerantly([&kept] {
                if (auto const announcement = kept.lock()) {
                    announcement->restore();
                }
            });
        }
    }

    static std::optional<std::string> choose(Endpoints const& announced, LookOut const& lookOut) {
        auto const [first, end] = announced.equal_range(lookOut.name);
        if (first == end) {
            return std::nullopt;
        }
        auto const isTold = [&](auto const& one) { return one.second == lookOut.endpoint; };
        return std::any_of(first, end, isTold) ? lookOut.endpoint : first->second;
    }

    void tellChanges() {
        Endpoints announced;
        for (auto& announcement : readAnnouncements(directory_)) {
            announced.emplace(std::move(announcement.name), std::move(announcement.endpoint));
        }
        for (auto lookOut = lookOuts_.begin(); lookOut != lookOuts_.end();) {
            auto const id = lookOut->first;
            auto const endpoint = choose(announced, lookOut->second);
            if (!lookOut->second.isTold || endpoint != lookOut->second.endpoint) {
                tell(id, endpoint);
            }
            lookOut = lookOuts_.upper_bound(id); // the call may have ended any look-out
        }
    }

    // If the call fails the next look tries it again.
    void tell(std::uint64_t id, std::optional<std::string> endpoint) {
        auto const resolved = lookOuts_.at(id).resolved; // the call may end the look-out
        resolved(endpoint);
        if (auto const told = lookOuts_.find(id); told != lookOuts_.end()) {
            told->second.isTold = true;
            told->second.endpoint = std::move(endpoint);
        }
    }

    std::filesystem::path const directory_;
    WorkerThread worker_;
    boost::asio::posix::stream_descriptor changes_; // what the system tells of watched_
    std::array<char, 4096> buffer_{};
    DirectoryID watched_{};
    boost::asio::steady_timer check_;
    std::chrono::milliseconds checkInterval_ = firstCheck;
    bool isCheckedSoon_ = false;
    bool stopped_ = false;
    std::vector<std::weak_ptr<AnnouncementFile>> announcements_;
    std::map<std::uint64_t, LookOut> lookOuts_;
    std::uint64_t lastID_ = 0;
};

RuntimeDirectoryDiscovery::RuntimeDirectoryDiscovery(std::filesystem::path directory)
    : directory_(std::move(directory))
    , watcher_(std::make_shared<Watcher>(directory_)) {}

RuntimeDirectoryDiscovery::~RuntimeDirectoryDiscovery() {
    stop();
}

std::unique_ptr<DiscoveryService::Handle> RuntimeDirectoryDiscovery::resolve(std::string const& name,
                                                                             Resolved resolved) {
    struct LookOut : Handle {
        explicit LookOut(std::shared_ptr<Watcher> owner)
            : watcher(std::move(owner)) {}
        ~LookOut() override { watcher->remove(id); }

        std::shared_ptr<Watcher> const watcher;
        std::uint64_t id = 0; // none has it
    };
    auto lookOut = std::make_unique<LookOut>(watcher_); // first, so that one that has begun is not lost
    lookOut->id = watcher_->add(name, std::move(resolved));
    return lookOut;
}

std::unique_ptr<DiscoveryService::Handle> RuntimeDirectoryDiscovery::announce(std::string const& name,
                                                                              std::string const& endpoint) {
    prepareRuntimeDirectory(directory_);
    struct Announced : Handle {
        explicit Announced(std::shared_ptr<AnnouncementFile> announcement)
            : file(std::move(announcement)) {}
        ~Announced() override { file->withdraw(); }

        std::shared_ptr<AnnouncementFile> const file;
    };
    auto announced = std::make_unique<Announced>(std::make_shared<AnnouncementFile>(
        ownPath(name, announcementExtension), Announcement{name, endpoint}));
    watcher_->keep(announced->file);
    return announced;
}

std::string RuntimeDirectoryDiscovery::privateEndpoint(std::string const& name) {
    prepareRuntimeDirectory(directory_);
    return "unix:" + ownPath(name, socketExtension).string();
}

std::filesystem::path RuntimeDirectoryDiscovery::ownPath(std::string const& name,
                                                         char const* extension) const {
    std::random_device chance;
    return directory_ / (escapeForFileName(name) + "." + std::to_string(::getpid()) + "." +
                         std::to_string(chance()) + extension);
}

void RuntimeDirectoryDiscovery::stop() {
    watcher_->stop();
}

} // namespace agent::spf::bundles::discovery
