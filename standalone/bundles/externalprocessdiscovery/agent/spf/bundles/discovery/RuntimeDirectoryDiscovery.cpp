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
        std::exception_ptr error;
        worker_.run([&] {
            if (stopped_) {
                return; // a watch that began now would have nobody to end it
            }
            try {
                watch();
                checkSoon();
                lookOuts_.emplace(lastID_ + 1, LookOut{name, std::move(resolved)});
                id = ++lastID_;
            } catch (...) {
                error = std::current_exception();
            }
        });
        if (error) {
            std::rethrow_exception(error);
        }
        return id;
    }

    // Restores the announcement when its file is deleted, for as long as it has an owner.
    void keep(std::weak_ptr<AnnouncementFile> announcement) {
        worker_.post([this, announcement = std::move(announcement)] {
            announcements_.push_back(announcement);
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
            throw std::runtime_error("cannot watch the runtime directory " + directory_.string() + ": " +
                                     std::system_category().message(errno));
        }
        boost::system::error_code ignored;
        changes_.close(ignored);
        changes_.assign(descriptor.release());
        watched_ = directory;
        awaitChange();
        checkSoon();
    }

    // What has changed does not matter: whatever it is, the directory is read anew.
    void awaitChange() {
        changes_.async_read_some(boost::asio::buffer(buffer_), [this](auto const& error, std::size_t) {
            if (error || stopped_) {
                return;
            }
            checkSoon();
            awaitChange();
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
        check_.async_wait([this](auto const& error) {
            if (error || stopped_) {
                return;
            }
            isCheckedSoon_ = false;
            checkInterval_ = std::min(2 * checkInterval_, longestCheck);
            try {
                watch(); // another directory by now, perhaps
            } catch (std::exception const&) {
                // As long as there is none to watch nobody announces anything.
            }
            look();
            check();
        });
    }

    void look() {
        restoreAnnouncements();
        tellChanges();
    }

    void restoreAnnouncements() {
        auto const ended = std::remove_if(announcements_.begin(), announcements_.end(),
                                          [](auto const& announcement) { return announcement.expired(); });
        announcements_.erase(ended, announcements_.end());
        for (auto const& kept : announcements_) {
            try {
                if (auto const announcement = kept.lock()) {
                    announcement->restore();
                }
            } catch (std::exception const&) {
                // The next look tries again.
            }
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
        std::vector<std::uint64_t> ids;
        for (auto const& lookOut : lookOuts_) {
            ids.push_back(lookOut.first);
        }
        for (auto const id : ids) { // a callback may end any look-out
            auto const found = lookOuts_.find(id);
            if (found == lookOuts_.end()) {
                continue;
            }
            auto const endpoint = choose(announced, found->second);
            if (!found->second.isTold || endpoint != found->second.endpoint) {
                tell(found->second, endpoint);
            }
        }
    }

    static void tell(LookOut& lookOut, std::optional<std::string> const& endpoint) {
        lookOut.isTold = true;
        lookOut.endpoint = endpoint;
        auto const resolved = lookOut.resolved; // the call may end the look-out
        resolved(endpoint);
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

namespace {

template <class Action>
class AtEnd : public DiscoveryService::Handle {
public:
    explicit AtEnd(Action action)
        : action_(std::move(action)) {}
    ~AtEnd() override { action_(); }

private:
    Action const action_;
};

} // namespace

RuntimeDirectoryDiscovery::RuntimeDirectoryDiscovery(std::filesystem::path directory)
    : directory_(std::move(directory))
    , watcher_(std::make_shared<Watcher>(directory_)) {}

RuntimeDirectoryDiscovery::~RuntimeDirectoryDiscovery() {
    stop();
}

std::unique_ptr<DiscoveryService::Handle> RuntimeDirectoryDiscovery::resolve(std::string const& name,
                                                                             Resolved resolved) {
    auto const id = watcher_->add(name, std::move(resolved));
    auto action = [watcher = watcher_, id] { watcher->remove(id); };
    return std::make_unique<AtEnd<decltype(action)>>(std::move(action));
}

std::unique_ptr<DiscoveryService::Handle> RuntimeDirectoryDiscovery::announce(std::string const& name,
                                                                              std::string const& endpoint) {
    prepareRuntimeDirectory(directory_);
    auto announcement = std::make_shared<AnnouncementFile>(ownPath(name, announcementExtension),
                                                           Announcement{name, endpoint});
    watcher_->keep(announcement);
    auto action = [announcement = std::move(announcement)] { announcement->withdraw(); };
    return std::make_unique<AtEnd<decltype(action)>>(std::move(action));
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
