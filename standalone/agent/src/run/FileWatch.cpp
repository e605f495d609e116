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

// Whether the directory of a file is watched from now on, if it was not before.
bool watchDirectoryOf(std::filesystem::path const& file, FileDescriptor const& notifications) {
    auto const parent = file.parent_path();
    constexpr std::uint32_t events = IN_CLOSE_WRITE | IN_MOVED_TO;
    return inotify_add_watch(notifications.get(), parent.empty() ? "." : parent.c_str(), events) >= 0;
}

} // namespace

FileWatch::FileWatch(std::filesystem::path file, Identity known, MessageBox& messages)
    : messages_(messages)
    , file_(std::move(file))
    , known_(std::move(known))
    , notifications_(inotify_init1(IN_CLOEXEC), "inotify_init1") {
    if (!watchDirectoryOf(file_, notifications_)) {
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
        // A name that was given to something may be that of a directory or link on the way to the file; a
        // file that was written concerns us only if it is the one: others may be written while ours is half
        // done.
        auto const* const name = buffer.data() + at + sizeof event;
        bool const isFile = event.len > 0 && (file_.filename() == name || target_.filename() == name);
        concernsFile = concernsFile || isFile || (event.mask & IN_MOVED_TO) != 0;
        at += static_cast<std::ptrdiff_t>(sizeof event + event.len);
    }
    if (concernsFile) {
        compare();
    }
}

void FileWatch::compare() {
    std::error_code isMissing;
    if (auto target = std::filesystem::canonical(file_, isMissing); !isMissing) {
        target_ = std::move(target);
        watchDirectoryOf(target_, notifications_); // before the look at the file
    }
    auto const found = identityOf(file_);
    if (found != known_ && found != Identity()) {
        known_ = found;
        messages_.put(ReloadRequested{"the file has changed"});
    }
}

} // namespace agent::program
