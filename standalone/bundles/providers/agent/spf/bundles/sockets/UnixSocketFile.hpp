// The file of a unix socket that listens: made for its user alone, in place of one that a dead process left,
// never in place of a live one, and removed with the listener.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_UNIX_SOCKET_FILE_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_UNIX_SOCKET_FILE_HPP

#include <stdexcept>
#include <string>

#include <sys/types.h>

namespace agent::spf::bundles::sockets {

// Somebody listens at the address now, and may not soon.
class AddressInUse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Processes that use the same directory take turns at making and removing socket files, by a lock on the
// directory, so that nobody takes a socket for stale between its owner's bind and listen.
class UnixSocketFile {
public:
    // Binds the socket `descriptor` to `path`, mode 0600 from the first instant, and makes it listen. Throws
    // AddressInUse or another std::runtime_error with the reason.
    UnixSocketFile(int descriptor, std::string path);

    // Removes the file if it is still this socket's, which must listen until then.
    ~UnixSocketFile();
    UnixSocketFile(UnixSocketFile const&) = delete;
    UnixSocketFile& operator=(UnixSocketFile const&) = delete;

private:
    std::string const path_;
    dev_t device_ = 0; // device and inode tell this socket's file from a later one of the same path
    ino_t inode_ = 0;
};

} // namespace agent::spf::bundles::sockets

#endif
