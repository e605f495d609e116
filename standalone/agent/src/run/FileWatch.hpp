// Tells when a file has changed.
#ifndef AGENT_PROGRAM_RUN_FILE_WATCH_HPP
#define AGENT_PROGRAM_RUN_FILE_WATCH_HPP

#include <filesystem>
#include <optional>
#include <tuple>

#include <sys/types.h>

#include "run/Message.hpp"
#include "run/PollThread.hpp"

namespace agent::program {

// A change is told when a writer has closed the file, or when another file has taken its name, as editors do
// it; also when another directory or symbolic link has taken that of one on the way to the file. If there are
// links on the way, what they lead to in the end is watched, too. A file that is not there is not a change.
class FileWatch {
public:
    // What tells a file from what it was: device, inode, size, time of change.
    using Identity = std::tuple<dev_t, ino_t, off_t, time_t, long>;
    static Identity identityOf(std::filesystem::path const& file);

    // `known` is the identity before the file was read: what has changed since then is told at once. Throws
    // std::system_error if the file's directory cannot be watched.
    FileWatch(std::filesystem::path file, Identity known, MessageBox& messages);

private:
    void receive();
    void compare();

    MessageBox& messages_;
    std::filesystem::path const file_;
    // Used by the thread only, once it runs.
    std::filesystem::path target_; // what file_ leads to
    Identity known_;
    FileDescriptor const notifications_;
    std::optional<PollThread> thread_;
};

} // namespace agent::program

#endif
