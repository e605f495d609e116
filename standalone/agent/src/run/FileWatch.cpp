// Tells when a file has changed.
#include "run/FileWatch.hpp"

#include <array>

#include <sys/inotify.h>
#include <sys/stat.h>

namespace agent::program {

namespace {

int watchDirectory(std::filesystem::path const& directory) {
    FileDescriptor const notifications(inotify_init1(IN_CLOEXEC), "inotify_init1");
    auto const* const path = directory.empty() ? "." : directory.c_str();
    if (inotify_add_watch(notifications.get(), path, IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE) < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot watch " + std::string(path));
    }
    return dup(notifications.get());
}

} // namespace

FileWatch::FileWatch(std::filesystem::path const& file, MessageBox& messages)
    : messages_(messages)
    , file_(file)
    , known_(identityOf(file))
    , notifications_(watchDirectory(file.parent_path()), "inotify")
    , thread_(notifications_.get(), [this] { receive(); }) {}

FileWatch::Identity FileWatch::identityOf(std::filesystem::path const& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void FileWatch::receive() {
    alignas(inotify_event) std::array<char, 16 * 1024> notifications{};
    // What they say is of no interest: whatever happened in the directory, the file itself tells.
    if (read(notifications_.get(), notifications.data(), notifications.size()) < 0) {
        return;
    }
    auto const found = identityOf(file_);
    if (found != known_ && found != Identity()) {
        known_ = found;
        messages_.put(ReloadRequested{"the file has changed"});
    }
}

} // namespace agent::program
