// Tells when a file has changed.
#include "run/FileWatch.hpp"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include <sys/inotify.h>
#include <sys/stat.h>

namespace agent::program {

namespace {

// Watches every directory on the way to a file, if it is not watched yet; the outermost first, so that
// nothing takes the place of a directory unseen. Whether that of the file itself is watched: others may not
// be readable.
bool watchWayTo(std::filesystem::path const& file, FileDescriptor const& notifications) {
    auto const directory = file.parent_path();
    if (directory.has_relative_path()) {
        watchWayTo(directory, notifications);
    }
    constexpr std::uint32_t events = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE;
    return inotify_add_watch(notifications.get(), directory.empty() ? "." : directory.c_str(), events) >= 0;
}

// Whether something that may be a directory or link on the way to the file has got its name, or whatever has
// happened was too much to be told.
bool mayLeadElsewhere(std::uint32_t events) {
    bool const isNewDirectory = (events & IN_CREATE) != 0 && (events & IN_ISDIR) != 0;
    return isNewDirectory || (events & (IN_MOVED_TO | IN_Q_OVERFLOW)) != 0;
}

} // namespace

FileWatch::FileWatch(std::filesystem::path file, Identity known, MessageBox& messages)
    : messages_(messages)
    , file_(std::move(file))
    , known_(std::move(known))
    , notifications_(inotify_init1(IN_CLOEXEC), "inotify_init1") {
    if (!watchWayTo(file_, notifications_)) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot watch the directory of " + file_.string());
    }
    compare();
    thread_.emplace(notifications_.get(), [this] { receive(); });
}

FileWatch::Identity FileWatch::identityOf(std::filesystem::path const& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void FileWatch::receive() {
    alignas(inotify_event) std::array<char, 16384> buffer{};
    auto const count = read(notifications_.get(), buffer.data(), buffer.size());
    bool concernsFile = false;
    for (std::ptrdiff_t at = 0; at < count;) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        // A file that was written concerns us only if it is the one: others may be written while ours is half
        // done.
        auto const* const name = buffer.data() + at + sizeof event;
        bool const isWritten = (event.mask & IN_CLOSE_WRITE) != 0 && event.len > 0 &&
                               (file_.filename() == name || target_.filename() == name);
        concernsFile = concernsFile || isWritten || mayLeadElsewhere(event.mask);
        at += static_cast<std::ptrdiff_t>(sizeof event + event.len);
    }
    if (concernsFile) {
        compare();
    }
}

void FileWatch::compare() {
    watchWayTo(file_, notifications_); // before the look at the file, as that to what it leads to
    std::error_code isMissing;
    if (auto target = std::filesystem::canonical(file_, isMissing); !isMissing) {
        target_ = std::move(target);
        watchWayTo(target_, notifications_);
    }
    auto const found = identityOf(file_);
    if (found != known_ && found != Identity()) {
        known_ = found;
        messages_.put(ReloadRequested{"the file has changed"});
    }
}

} // namespace agent::program
