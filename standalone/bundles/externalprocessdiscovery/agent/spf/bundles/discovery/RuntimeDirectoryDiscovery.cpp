#include "agent/spf/bundles/discovery/RuntimeDirectoryDiscovery.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/inotify.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/discovery/Announcement.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectory.hpp"

namespace agent::spf::bundles::discovery {

// Watches the directory for all look-outs, on a thread of its own. All members but the worker are used on the
// worker only.
class RuntimeDirectoryDiscovery::Watcher {
public:
    explicit Watcher(std::filesystem::path directory)
        : directory_(std::move(directory))
        , worker_("spf-discovery")
        , changes_(worker_.context()) {}

    std::uint64_t add(std::string const& name, Resolved resolved) {
        std::uint64_t id = 0;
        std::exception_ptr error;
        worker_.run([&] {
            try {
                watch();
                id = ++lastID_;
                lookOuts_.emplace(id, LookOut{name, std::move(resolved), std::nullopt});
            } catch (...) {
                error = std::current_exception();
            }
        });
        if (error) {
            std::rethrow_exception(error);
        }
        worker_.post([this, id] { tellFirst(id); });
        return id;
    }

    void remove(std::uint64_t id) {
        worker_.run([this, id] { lookOuts_.erase(id); });
    }

    void stop() {
        worker_.run([this] {
            lookOuts_.clear();
            boost::system::error_code ignored;
            changes_.close(ignored);
        });
        worker_.stop();
    }

private:
    struct LookOut {
        std::string name;
        Resolved resolved;
        std::optional<std::string> endpoint; // told last
    };

    void watch() {
        if (changes_.is_open()) {
            return;
        }
        prepareRuntimeDirectory(directory_);
        auto const descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        auto const events = IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_DELETE;
        if (descriptor < 0 || ::inotify_add_watch(descriptor, directory_.c_str(), events) < 0) {
            auto const error = errno;
            ::close(descriptor);
            throw std::runtime_error("cannot watch the runtime directory " + directory_.string() + ": " +
                                     std::system_category().message(error));
        }
        changes_.assign(descriptor);
        awaitChange();
    }

    // What has changed does not matter: whatever it is, the directory is read anew.
    void awaitChange() {
        changes_.async_read_some(boost::asio::buffer(buffer_), [this](auto const& error, std::size_t) {
            if (!error) {
                tellChanges();
                awaitChange();
            }
        });
    }

    static std::optional<std::string> choose(std::vector<Announcement> const& announcements,
                                             LookOut const& lookOut) {
        std::optional<std::string> first;
        for (auto const& announcement : announcements) {
            if (announcement.name != lookOut.name) {
                continue;
            }
            if (announcement.endpoint == lookOut.endpoint) {
                return lookOut.endpoint;
            }
            if (!first) {
                first = announcement.endpoint;
            }
        }
        return first;
    }

    void tellFirst(std::uint64_t id) {
        if (auto const found = lookOuts_.find(id); found != lookOuts_.end()) {
            tell(found->second, choose(readAnnouncements(directory_), found->second));
        }
    }

    void tellChanges() {
        auto const announcements = readAnnouncements(directory_);
        std::vector<std::uint64_t> ids;
        for (auto const& lookOut : lookOuts_) {
            ids.push_back(lookOut.first);
        }
        for (auto const id : ids) { // a callback may end any look-out
            auto const found = lookOuts_.find(id);
            if (found == lookOuts_.end()) {
                continue;
            }
            auto const endpoint = choose(announcements, found->second);
            if (endpoint != found->second.endpoint) {
                tell(found->second, endpoint);
            }
        }
    }

    static void tell(LookOut& lookOut, std::optional<std::string> const& endpoint) {
        lookOut.endpoint = endpoint;
        auto const resolved = lookOut.resolved; // the call may end the look-out
        resolved(endpoint);
    }

    std::filesystem::path const directory_;
    WorkerThread worker_;
    boost::asio::posix::stream_descriptor changes_;
    std::array<char, 4096> buffer_{};
    std::map<std::uint64_t, LookOut> lookOuts_;
    std::uint64_t lastID_ = 0;
};

namespace {

class RemoveFile : public DiscoveryService::Handle {
public:
    explicit RemoveFile(std::filesystem::path file)
        : file_(std::move(file)) {}
    ~RemoveFile() override {
        std::error_code ignored;
        std::filesystem::remove(file_, ignored);
    }

private:
    std::filesystem::path const file_;
};

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
    auto file = ownPath(name);
    file += announcementExtension;
    writeAnnouncement(file, ownAnnouncement(name, endpoint));
    return std::make_unique<RemoveFile>(file);
}

std::string RuntimeDirectoryDiscovery::privateEndpoint(std::string const& name) {
    prepareRuntimeDirectory(directory_);
    return "unix:" + ownPath(name).string() + ".sock";
}

std::filesystem::path RuntimeDirectoryDiscovery::ownPath(std::string const& name) {
    static std::atomic<unsigned> last{0}; // one count for all services of the process
    return directory_ /
           (escapeForFileName(name) + "." + std::to_string(::getpid()) + "." + std::to_string(++last));
}

void RuntimeDirectoryDiscovery::stop() {
    watcher_->stop();
}

} // namespace agent::spf::bundles::discovery
