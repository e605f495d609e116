// Tells when a file has changed.
#include "run/FileWatch.hpp"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include <sys/inotify.h>
#include <sys/stat.h>

namespace agent::program {

FileWatch::FileWatch(std::filesystem::path file, Identity known, MessageBox& messages)
    : messages_(messages)
    , file_(std::move(file))
    , known_(std::move(known))
    , notifications_(inotify_init1(IN_CLOEXEC), "inotify_init1") {
    auto const parent = file_.parent_path();
    auto const directory = parent.empty() ? std::filesystem::path(".") : parent;
    constexpr std::uint32_t events = IN_CLOSE_WRITE | IN_MOVED_TO;
    if (inotify_add_watch(notifications_.get(), directory.c_str(), events) < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot watch " + directory.string());
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
        bool const isFile = event.len > 0 && file_.filename() == buffer.data() + at + sizeof event;
        concernsFile = concernsFile || isFile || (event.mask & IN_MOVED_TO) != 0;
        at += static_cast<std::ptrdiff_t>(sizeof event + event.len);
    }
    if (concernsFile) {
        compare();
    }
}

void FileWatch::compare() {
    auto const found = identityOf(file_);
    if (found != known_ && found != Identity()) {
        known_ = found;
        messages_.put(ReloadRequested{"the file has changed"});
    }
}

} // namespace agent::program
