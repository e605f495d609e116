// Tells when a file has changed.
#ifndef AGENT_PROGRAM_RUN_FILE_WATCH_HPP
#define AGENT_PROGRAM_RUN_FILE_WATCH_HPP

#include <filesystem>
#include <tuple>

#include <sys/types.h>

#include "run/Message.hpp"
#include "run/PollThread.hpp"

namespace agent::program {

// A change is told when a writer has closed the file, or when another file has taken its name, as editors do
// it; also when a symbolic link in the same directory leads elsewhere. A file that is not there is not a
// change.
class FileWatch {
public:
    // Throws std::system_error if the file's directory cannot be watched.
    FileWatch(std::filesystem::path const& file, MessageBox& messages);

private:
    using Identity = std::tuple<dev_t, ino_t, off_t, time_t, long>; // device, inode, size, time of change

    void receive();
    static Identity identityOf(std::filesystem::path const& file);

    MessageBox& messages_;
    std::filesystem::path const file_;
    Identity known_; // used by the thread only, once it runs
    FileDescriptor const notifications_;
    PollThread const thread_;
};

} // namespace agent::program

#endif
